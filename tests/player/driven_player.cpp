#include "driven_player.h"

#include "player/chain/chain.h"
#include "player/services/json_config_store.h"
#include "player/window/ids.h"
#include "player/window/session.h"
#include "support/system_counts.h"

#include <commctrl.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <doctest/doctest.h>

#include <chrono>

namespace {

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

void driven_player::store_chain(const chain_fixture& files, const std::vector<std::string>& modules)
{
    player::live_chain chain;
    for (const std::string& module : modules) {
        player::effect_options effect;
        effect.module = module;
        chain.add(player::make_effect_entry(effect).preset);
    }
    const auto store = service_new<player::json_config_store>(files.folder.path("config.json"));
    store->set_string(player::chain_store_key, player::chain_to_text(*chain.get()).c_str());
}

driven_player::driven_player(const chain_fixture& files, const std::vector<std::string>& arguments)
    : files_(files)
{
    std::vector<std::string> all = {"--config", files.folder.path("config.json"), "gui"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    process_ =
        start_program(chain_fixture::player(), all, files.folder.path("out"), files.folder.path("err"));
    if (!wait_until(
            [&] { return (window_ = find_window(GetProcessId(process_.get()), nullptr)) != nullptr; }))
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

void driven_player::press(int id, WPARAM key) const
{
    PostMessageW(control(id), WM_KEYDOWN, key, 1);
    PostMessageW(control(id), WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
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
    return find_window(GetProcessId(process_.get()), window_);
}

size_t driven_player::worker_count() const
{
    const win::file_handle all(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    size_t count = 0;
    for (BOOL more = Process32FirstW(all.get(), &entry); more; more = Process32NextW(all.get(), &entry))
        count += entry.th32ParentProcessID == GetProcessId(process_.get()) &&
                 std::wstring(entry.szExeFile).starts_with(L"qvxVSTHost");
    return count;
}

size_t driven_player::handle_count() const
{
    return handles_of(GetProcessId(process_.get()));
}

size_t driven_player::private_bytes() const
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(process_.get(), &counters, sizeof(counters));
    return counters.PagefileUsage;
}

bool driven_player::wait_until(const std::function<bool()>& done, DWORD limit)
{
    const ULONGLONG end = GetTickCount64() + limit;
    while (!done()) {
        if (GetTickCount64() > end)
            return false;
        Sleep(20);
    }
    return true;
}

bool driven_player::hears(double seconds) const
{
    const std::string wanted = player::time_text(seconds);
    return wait_until([&] { return text(player::ids::time).substr(0, wanted.size()) == wanted; });
}

driven_player::ending driven_player::close()
{
    const auto began = std::chrono::steady_clock::now();
    PostMessageW(window_, WM_CLOSE, 0, 0);
    ending end;
    if (WaitForSingleObject(process_.get(), limit_ms) != WAIT_OBJECT_0)
        throw std::runtime_error("it does not end");
    end.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    GetExitCodeProcess(process_.get(), &end.exit_code);
    end.workers_left = worker_count();
    return end;
}

void driven_player::close_cleanly()
{
    const ending end = close();
    CHECK(end.exit_code == 0);
    CHECK(end.workers_left == 0);
    CHECK(end.seconds < 2);
}
