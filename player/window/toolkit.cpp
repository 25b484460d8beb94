#include "player/window/toolkit.h"

#include "sdk/exceptions.h"
#include "win/utf.h"

#include <commctrl.h>
#include <uxtheme.h>

#include <cwchar>

namespace player {

namespace {

unique_gdi<HFONT> make_font(unsigned dpi)
{
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof(metrics);
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0);
    constexpr int points = 9;
    metrics.lfMessageFont.lfHeight = -MulDiv(points, static_cast<int>(dpi), 72);
    return unique_gdi<HFONT>(CreateFontIndirectW(&metrics.lfMessageFont));
}

// The first one of the program's resources; null in one without, as the platform then takes its own.
HICON program_icon(int metric) noexcept
{
    const int side = GetSystemMetrics(metric);
    return static_cast<HICON>(
        LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(1), IMAGE_ICON, side, side, LR_SHARED));
}

} // namespace

void appearance::set(unsigned dpi, bool dark)
{
    dpi_ = dpi;
    dark_ = dark;
    font_ = make_font(dpi);
    back_brush_.reset(CreateSolidBrush(back()));
    field_brush_.reset(CreateSolidBrush(field()));
}

HBRUSH appearance::color_label(HDC context) const noexcept
{
    SetTextColor(context, text());
    SetBkColor(context, back());
    return back_brush_.get();
}

HBRUSH appearance::color_field(HDC context) const noexcept
{
    SetTextColor(context, text());
    SetBkColor(context, field());
    return field_brush_.get();
}

void appearance::dress(HWND control) const noexcept
{
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font()), TRUE);
    wchar_t name[40] = L"";
    GetClassNameW(control, name, static_cast<int>(std::size(name)));
    // The name is the platform's own for dark scroll bars, buttons and check boxes; where it is unknown,
    // nothing changes.
    SetWindowTheme(control, dark_ ? L"DarkMode_Explorer" : nullptr, nullptr);
    if (std::wcscmp(name, WC_LISTVIEWW) == 0)
        dress_list(control);
    if (std::wcscmp(name, WC_TREEVIEWW) == 0) {
        TreeView_SetBkColor(control, field());
        TreeView_SetTextColor(control, text());
    }
    InvalidateRect(control, nullptr, TRUE);
}

void appearance::dress_children(HWND parent) const noexcept
{
    for (HWND child = GetWindow(parent, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        dress(child);
}

void appearance::dress_list(HWND list_view) const noexcept
{
    ListView_SetBkColor(list_view, field());
    ListView_SetTextBkColor(list_view, field());
    ListView_SetTextColor(list_view, text());
}

unsigned dpi_of(HWND window) noexcept
{
    using function = UINT WINAPI(HWND);
    static const auto get = [] {
        const FARPROC address = GetProcAddress(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow");
        return reinterpret_cast<function*>(reinterpret_cast<void (*)()>(address));
    }();
    if (get)
        return get(window);
    const HDC screen = GetDC(nullptr);
    const int dpi = GetDeviceCaps(screen, LOGPIXELSX);
    ReleaseDC(nullptr, screen);
    return static_cast<unsigned>(dpi);
}

HWND make_control(HWND parent, const wchar_t* class_name, const char* text, DWORD style, int id,
                  DWORD extended_style)
{
    const HWND made = CreateWindowExW(
        extended_style, class_name, win::to_utf16(text).c_str(), WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0,
        parent, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
    if (!made)
        throw exception_win32(GetLastError());
    return made;
}

void register_class(const wchar_t* name, WNDPROC procedure, HBRUSH back)
{
    WNDCLASSEXW description{};
    description.cbSize = sizeof(description);
    description.lpfnWndProc = procedure;
    description.hInstance = GetModuleHandleW(nullptr);
    description.hIcon = program_icon(SM_CXICON);
    description.hIconSm = program_icon(SM_CXSMICON);
    description.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    description.hbrBackground = back;
    description.lpszClassName = name;
    if (!RegisterClassExW(&description) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
        throw exception_win32(GetLastError());
}

void next_control(HWND window, WPARAM first, LPARAM second) noexcept
{
    SetFocus(LOWORD(second) ? reinterpret_cast<HWND>(first)
                            : GetNextDlgTabItem(window, GetFocus(), static_cast<BOOL>(first)));
}

void set_window_text(HWND window, const std::string& text)
{
    if (window_text(window) != text)
        SetWindowTextW(window, win::to_utf16(text).c_str());
}

std::string window_text(HWND window)
{
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
    const int length = GetWindowTextW(window, text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<size_t>(length));
    return win::to_utf8(text);
}

void place(HWND control, int left, int top, int width, int height) noexcept
{
    SetWindowPos(control, nullptr, left, top, width, height, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOCOPYBITS);
}

} // namespace player
