#include "player/services/queue_window.h"

#include "sdk/exceptions.h"

namespace player {

namespace {

constexpr wchar_t class_name[] = L"qvxplayer callbacks";
constexpr UINT run_message = WM_APP;

LRESULT CALLBACK window_procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    if (message != run_message)
        return DefWindowProcW(window, message, first, second);
    reinterpret_cast<callback_queue*>(second)->run_pending();
    return 0;
}

HWND make_window()
{
    const HINSTANCE module = GetModuleHandleW(nullptr);
    WNDCLASSW description{};
    description.lpfnWndProc = &window_procedure;
    description.hInstance = module;
    description.lpszClassName = class_name;
    if (!RegisterClassW(&description) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
        throw exception_win32(GetLastError());
    const HWND window =
        CreateWindowExW(0, class_name, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, module, nullptr);
    if (!window)
        throw exception_win32(GetLastError());
    return window;
}

} // namespace

queue_window::queue_window(callback_queue& queue)
    : queue_(queue)
    , window_(make_window())
{
    queue_.set_wake([window = window_, &queue] {
        PostMessageW(window, run_message, 0, reinterpret_cast<LPARAM>(&queue));
    });
}

queue_window::~queue_window()
{
    queue_.set_wake({});
    DestroyWindow(window_);
}

} // namespace player
