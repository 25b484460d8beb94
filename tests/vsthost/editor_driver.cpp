#include "vsthost/editor_driver.h"

#include "programs/modules/driven_messages.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace editor_driver {

namespace {

struct search {
    DWORD process;
    HWND found;
};

BOOL CALLBACK look(HWND window, LPARAM argument)
{
    auto& wanted = *reinterpret_cast<search*>(argument);
    DWORD process = 0;
    wchar_t name[64] = L"";
    GetWindowThreadProcessId(window, &process);
    GetClassNameW(window, name, 64);
    if (process != wanted.process || !IsWindowVisible(window) || std::wstring(name) != L"qvxEffectEditor")
        return TRUE;
    wanted.found = window;
    return FALSE;
}

} // namespace

bool wait_until(const std::function<bool()>& holds, unsigned milliseconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        Sleep(5);
    }
    return true;
}

owner_window::owner_window()
    : thread_([this] { run(); })
{
    wait_until([this] { return window_ != nullptr; });
}

owner_window::~owner_window()
{
    stop_ = true;
    thread_.join();
}

std::string owner_window::digits() const
{
    char text[20];
    std::snprintf(text, sizeof text, "%x",
                  static_cast<unsigned>(reinterpret_cast<uintptr_t>(window_.load())));
    return text;
}

void owner_window::run()
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

HWND frame_of(const worker& of, unsigned milliseconds)
{
    search wanted{GetProcessId(of.process_handle()), nullptr};
    wait_until(
        [&] {
            EnumWindows(look, reinterpret_cast<LPARAM>(&wanted));
            return wanted.found != nullptr;
        },
        milliseconds);
    return wanted.found;
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

bool editor::says(const std::string& word, unsigned milliseconds)
{
    return wait_until([&] { return said().find(word) != std::string::npos; }, milliseconds);
}

std::vector<uint8_t> editor::file() const
{
    std::vector<uint8_t> bytes;
    const bool read = wait_until(
        [&] {
            try {
                bytes = read_file(data());
                return true;
            } catch (const driver_error&) {
                return false;
            }
        },
        1000);
    if (!read)
        throw driver_error("no state file");
    return bytes;
}

bool editor::holds(double level, unsigned milliseconds)
{
    const std::vector<uint8_t> wanted = level_state(how_.which, how_.name, level);
    return wait_until([&] { return file() == wanted; }, milliseconds);
}

std::vector<std::string> editor::leftovers() const
{
    std::vector<std::string> found;
    WIN32_FIND_DATAW entry;
    const HANDLE find = FindFirstFileW(win::to_utf16(folder_.path("*")).c_str(), &entry);
    do {
        const std::string name = win::to_utf8(entry.cFileName);
        if (name != "." && name != ".." && name != "state")
            found.push_back(name);
    } while (FindNextFileW(find, &entry));
    FindClose(find);
    return found;
}

SIZE client_size(HWND window)
{
    RECT client{};
    GetClientRect(window, &client);
    return {client.right, client.bottom};
}

std::vector<uint32_t> picture(HWND window)
{
    const SIZE size = client_size(window);
    POINT corner{};
    ClientToScreen(window, &corner);
    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    BITMAPINFO about{};
    about.bmiHeader = {sizeof about.bmiHeader, size.cx, -size.cy, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    const HBITMAP bitmap = CreateDIBSection(screen, &about, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ before = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, size.cx, size.cy, screen, corner.x, corner.y, SRCCOPY);
    const auto* const first = static_cast<const uint32_t*>(bits);
    std::vector<uint32_t> pixels(first, first + size.cx * size.cy);
    SelectObject(memory, before);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return pixels;
}

std::vector<uint32_t> painted(HWND window)
{
    std::vector<uint32_t> last;
    CHECK(wait_until([&] {
        last = picture(window);
        return std::ranges::count(last, last[0]) < std::ssize(last);
    }));
    wait_until(
        [&] {
            Sleep(400);
            const std::vector<uint32_t> before = std::exchange(last, picture(window));
            return last == before;
        },
        2000);
    return last;
}

} // namespace editor_driver
