#include "driven_player.h"

#include "player/chain/chain.h"
#include "player/services/json_config_store.h"
#include "player/window/ids.h"
#include "player/window/session.h"
#include "support/system_counts.h"
#include "support/wait_until.h"

#include <commctrl.h>
#include <psapi.h>

#include <doctest/doctest.h>

namespace {

constexpr DWORD limit_ms = 30'000;

struct search {
    DWORD process;
    HWND beside; // null: the main window is wanted
    HWND found = nullptr;
};

BOOL CALLBACK look_at(HWND window, LPARAM given)
{
    auto& wanted = *reinterpret_cast<search*>(given);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    wchar_t name[64] = L"";
    GetClassNameW(window, name, 64);
    const bool is_main = std::wstring(name) == player::ids::main_class;
    if (process != wanted.process || !IsWindowVisible(window) || is_main == (wanted.beside != nullptr))
        return TRUE;
    wanted.found = window;
    return FALSE;
}

HWND find_window(DWORD process, HWND beside)
{
    search wanted{process, beside};
    EnumWindows(&look_at, reinterpret_cast<LPARAM>(&wanted));
    return wanted.found;
}

} // namespace

driven_player::driven_player(const chain_fixture& files, const strings& chain, const std::string& capture)
{
    const std::string config = files.folder.path("config.json");
    strings arguments = {"--config", config, "gui"};
    if (!chain.empty()) {
        arguments.push_back(files.folder.path("in.wav"));
        player::live_chain made;
        for (const std::string& module : chain) {
            player::effect_options options;
            options.module = module;
            made.add(player::make_effect_entry(options).preset);
        }
        service_new<player::json_config_store>(config)->set_string(
            player::chain_store_key, player::chain_to_text(*made.get()).c_str());
    }
    if (!capture.empty())
        arguments = with(arguments, {"--capture", files.folder.path(capture)});
    process_ = start_program(shipped("qvxplayer.exe"), arguments, files.folder);
    if (!wait_until([&] { return (window_ = find_window(id(), nullptr)) != nullptr; }))
        throw std::runtime_error("no window came");
}

driven_player::~driven_player()
{
    if (WaitForSingleObject(process_.get(), 0) == WAIT_OBJECT_0)
        return;
    TerminateProcess(process_.get(), 99);
    WaitForSingleObject(process_.get(), limit_ms);
}

std::string driven_player::text(int id) const
{
    wchar_t text[4096] = L"";
    DWORD_PTR length = 0;
    SendMessageTimeoutW(control(id), WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text), SMTO_NORMAL,
                        limit_ms, &length);
    return win::to_utf8(text);
}

void driven_player::click(int id) const
{
    PostMessageW(window_, WM_COMMAND, static_cast<WPARAM>(id), reinterpret_cast<LPARAM>(control(id)));
}

void driven_player::press_in_chain(WPARAM key) const
{
    PostMessageW(control(player::ids::chain_list), WM_KEYDOWN, key, 1);
    PostMessageW(control(player::ids::chain_list), WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
}

void driven_player::seek(double seconds) const
{
    const HWND bar = control(player::ids::seek_bar);
    const auto send = [](HWND to, UINT message, WPARAM first, LPARAM second) {
        DWORD_PTR result = 0;
        SendMessageTimeoutW(to, message, first, second, SMTO_NORMAL, limit_ms, &result);
    };
    // As a hand does it: while the bar is held, what is heard does not move it.
    send(window_, WM_HSCROLL, TB_THUMBTRACK, reinterpret_cast<LPARAM>(bar));
    send(bar, TBM_SETPOS, TRUE, static_cast<LPARAM>(seconds * 10));
    send(window_, WM_HSCROLL, TB_THUMBPOSITION, reinterpret_cast<LPARAM>(bar));
}

HWND driven_player::other_window() const
{
    return find_window(id(), window_);
}

size_t driven_player::worker_count() const
{
    return children_of(id(), L"qvxVSTHost").size();
}

size_t driven_player::private_bytes() const
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(process_.get(), &counters, sizeof(counters));
    return counters.PagefileUsage;
}

bool driven_player::wait_until(const std::function<bool()>& done) const
{
    return ::wait_until(done, limit_ms / 1000.0, [] { Sleep(20); });
}

void driven_player::play() const
{
    REQUIRE(wait_until([&] { return IsWindowEnabled(control(player::ids::play)) != 0; }));
    click(player::ids::play);
}

bool driven_player::hears(double second) const
{
    return wait_until([&] { return text(player::ids::time).starts_with(player::time_text(second)); });
}

void driven_player::open_menu() const
{
    PostMessageW(window_, WM_SYSCOMMAND, SC_KEYMENU, 'm');
    CHECK(wait_until([&] { return other_window() != nullptr; }));
}

void driven_player::open_and_close_menu() const
{
    open_menu();
    // One key closes the list, the next one leaves the bar, which takes every key of the thread until then.
    CHECK(wait_until([&] {
        GUITHREADINFO now{};
        now.cbSize = sizeof now;
        PostMessageW(window_, WM_KEYDOWN, VK_ESCAPE, 1);
        return GetGUIThreadInfo(GetWindowThreadProcessId(window_, nullptr), &now) &&
               !(now.flags & GUI_INMENUMODE);
    }));
}

void driven_player::close_other_window() const
{
    CHECK(wait_until([&] { return other_window() != nullptr; }));
    PostMessageW(other_window(), WM_CLOSE, 0, 0);
    CHECK(wait_until([&] { return !other_window(); }));
}

void driven_player::close()
{
    const ULONGLONG began = GetTickCount64();
    PostMessageW(window_, WM_CLOSE, 0, 0);
    REQUIRE(WaitForSingleObject(process_.get(), limit_ms) == WAIT_OBJECT_0);
    CHECK(GetTickCount64() - began < 2000);
    DWORD exit_code = 99;
    GetExitCodeProcess(process_.get(), &exit_code);
    CHECK(exit_code == 0);
    CHECK(worker_count() == 0);
}
