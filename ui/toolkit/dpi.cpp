#include "ui/toolkit/dpi.h"

#include <iterator>

namespace toolkit {

int scaled(HWND window, int pixels) noexcept
{
    const UINT dpi = GetDpiForWindow(window);
    return MulDiv(pixels, dpi ? static_cast<int>(dpi) : USER_DEFAULT_SCREEN_DPI, USER_DEFAULT_SCREEN_DPI);
}

void widen_cut_labels(HWND dialog) noexcept
{
    for (HWND label = GetWindow(dialog, GW_CHILD); label; label = GetWindow(label, GW_HWNDNEXT)) {
        wchar_t text[256] = {};
        const int length = GetWindowTextW(label, text, static_cast<int>(std::size(text)));
        const bool is_label = SendMessageW(label, WM_GETDLGCODE, 0, 0) & DLGC_STATIC;
        if (!is_label || length == 0)
            continue;
        const HDC context = GetDC(label);
        const HGDIOBJ before =
            SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(label, WM_GETFONT, 0, 0)));
        SIZE needed = {};
        GetTextExtentPoint32W(context, text, length, &needed);
        needed.cx += scaled(label, 2); // a text that fits to the pixel is wrapped by some
        SelectObject(context, before);
        ReleaseDC(label, context);
        RECT place = {};
        GetWindowRect(label, &place);
        MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
        const LONG more = needed.cx - (place.right - place.left);
        if (more <= 0)
            continue;
        // It grows away from the side that its text is at.
        const bool at_right = (GetWindowLongW(label, GWL_STYLE) & SS_TYPEMASK) == SS_RIGHT;
        SetWindowPos(label, nullptr, place.left - (at_right ? more : 0), place.top, needed.cx,
                     place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE);
    }
}

int dialog_units(HWND dialog, int units) noexcept
{
    RECT measure = {0, 0, units, 0};
    return MapDialogRect(dialog, &measure) ? measure.right : units;
}

} // namespace toolkit
