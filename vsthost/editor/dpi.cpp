#include "vsthost/editor/dpi.h"

namespace {

// Null where the system is too old for it.
template <class Function>
Function find(const char* name)
{
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), name)));
}

} // namespace

void vsthost::set_dpi_awareness(bool aware)
{
    using set_process = BOOL(WINAPI*)(DPI_AWARENESS_CONTEXT);
    using set_thread = DPI_AWARENESS_CONTEXT(WINAPI*)(DPI_AWARENESS_CONTEXT);
    const auto for_process = find<set_process>("SetProcessDpiAwarenessContext");
    const auto for_thread = find<set_thread>("SetThreadDpiAwarenessContext");
    // The process may have been given one already, by the user's compatibility settings or by a system that
    // does so always; the thread that shows the windows still has a choice.
    const auto set = [&](DPI_AWARENESS_CONTEXT context) {
        return (for_process != nullptr && for_process(context)) ||
               (for_thread != nullptr && for_thread(context) != nullptr);
    };
    if (!aware)
        set(DPI_AWARENESS_CONTEXT_UNAWARE);
    else if (!set(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2) &&
             !set(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE))
        SetProcessDPIAware();
}

unsigned vsthost::dpi_of(HWND window)
{
    using get_dpi = UINT(WINAPI*)(HWND);
    if (const auto get = find<get_dpi>("GetDpiForWindow"))
        if (const UINT dpi = get(window); dpi != 0)
            return dpi;
    const HDC screen = GetDC(nullptr);
    const int dpi = GetDeviceCaps(screen, LOGPIXELSX);
    ReleaseDC(nullptr, screen);
    return dpi > 0 ? static_cast<unsigned>(dpi) : USER_DEFAULT_SCREEN_DPI;
}

SIZE vsthost::window_size(HWND window, SIZE client)
{
    RECT rectangle{0, 0, client.cx, client.cy};
    const auto style = static_cast<DWORD>(GetWindowLongPtrW(window, GWL_STYLE));
    const auto extended = static_cast<DWORD>(GetWindowLongPtrW(window, GWL_EXSTYLE));
    using adjust_for_dpi = BOOL(WINAPI*)(RECT*, DWORD, BOOL, DWORD, UINT);
    if (const auto adjust = find<adjust_for_dpi>("AdjustWindowRectExForDpi"))
        adjust(&rectangle, style, FALSE, extended, dpi_of(window));
    else
        AdjustWindowRectEx(&rectangle, style, FALSE, extended);
    return {rectangle.right - rectangle.left, rectangle.bottom - rectangle.top};
}
