#include "vsthost/editor_driver.h"

#include "programs/modules/driven_messages.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace editor_driver {

player_window::player_window()
    : thread_([this] { run(); })
{
    wait_until([this] { return window_ != nullptr; });
}

player_window::~player_window()
{
    stop_ = true;
    thread_.join();
}

std::string digits_of(HWND window)
{
    char text[20];
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(reinterpret_cast<uintptr_t>(window)));
    return text;
}

void player_window::run()
{
    window_ = CreateWindowExW(0, L"STATIC", L"Player", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 300, 300, 500, 400,
                              nullptr, nullptr, nullptr, nullptr);
    while (!stop_) {
        if (const HANDLE process = joined_.exchange(nullptr)) {
            MSG message;
            while (MsgWaitForMultipleObjects(1, &process, FALSE, 10000, QS_SENDMESSAGE) == WAIT_OBJECT_0 + 1)
                PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE | PM_QS_SENDMESSAGE);
        }
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
    DestroyWindow(window_);
}

editor::editor(const editing& how)
    : how_(how)
{
    launch start = module(how.which, how.name);
    start.editor_mode = how.live ? "configure-live" : "configure";
    start.editor_options = {"--dpi-aware", how.dpi_aware ? "yes" : "no"};
    start.environment = {{"QVX_VSTHOST_MINIDUMP_MS", "0"}}; // or crashes leave files
    if (how.with_data) {
        folder_.write("state",
                      how.level < 0 ? std::vector<uint8_t>() : level_state(how.which, how.name, how.level));
        start.editor_options.insert(start.editor_options.end(), {"--data", data()});
    }
    start.editor_options.insert(start.editor_options.end(), how.options.begin(), how.options.end());
    worker_.emplace(start);
}

HWND editor::frame()
{
    HWND found = nullptr;
    wait_until([&] {
        DWORD process = 0;
        do {
            found = FindWindowExW(nullptr, found, L"qvxEffectEditor", nullptr);
            GetWindowThreadProcessId(found, &process);
        } while (found && (process != GetProcessId(worker_->process_handle()) || !IsWindowVisible(found)));
        return found != nullptr;
    });
    return found;
}

HWND editor::inside()
{
    return FindWindowExW(frame(), nullptr, driven_editor_class, nullptr);
}

void editor::tell(unsigned what, uintptr_t wide, intptr_t large)
{
    PostMessageW(inside(), WM_APP + what, wide, large);
}

std::string editor::said()
{
    char text[256] = "";
    // Of another process: the text that is kept for it, without a message to its thread.
    GetWindowTextA(inside(), text, sizeof text);
    return text;
}

void editor::close()
{
    PostMessageW(frame(), WM_CLOSE, 0, 0);
    CHECK(worker_->wait() == 0);
}

bool editor::says(const std::string& word, unsigned milliseconds)
{
    return wait_until([&] { return said().find(word) != std::string::npos; }, milliseconds);
}

std::vector<uint8_t> editor::file() const
{
    for (int i = 0;; ++i, Sleep(5))
        try {
            return read_file(data());
        } catch (const driver_error&) {
            if (i == 200)
                throw;
        }
}

bool editor::holds(double level, unsigned milliseconds)
{
    const std::vector<uint8_t> wanted = level_state(how_.which, how_.name, level);
    return wait_until([&] { return file() == wanted; }, milliseconds);
}

std::vector<std::string> editor::leftovers() const
{
    std::vector<std::string> found;
    for (const auto& each : std::filesystem::directory_iterator(folder_.path()))
        if (each.path().filename() != "state")
            found.push_back(each.path().filename().string());
    return found;
}

SIZE client_size(HWND window)
{
    RECT client{};
    GetClientRect(window, &client);
    return {client.right, client.bottom};
}

std::vector<uint32_t> painted(HWND window)
{
    std::vector<uint32_t> last;
    CHECK(wait_until([&] {
        last = pixels_of(window);
        return std::ranges::count(last, last[0]) < std::ssize(last);
    }));
    wait_until(
        [&] {
            Sleep(400);
            const std::vector<uint32_t> before = std::exchange(last, pixels_of(window));
            return last == before;
        },
        2000);
    return last;
}

} // namespace editor_driver
