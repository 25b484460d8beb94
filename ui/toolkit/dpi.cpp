#include "ui/toolkit/dpi.h"

namespace toolkit {

int scaled(HWND window, int pixels) noexcept
{
    const UINT dpi = GetDpiForWindow(window);
    return MulDiv(pixels, dpi ? static_cast<int>(dpi) : USER_DEFAULT_SCREEN_DPI, USER_DEFAULT_SCREEN_DPI);
}

int dialog_units(HWND dialog, int units) noexcept
{
    RECT measure = {0, 0, units, 0};
    return MapDialogRect(dialog, &measure) ? measure.right : units;
}

} // namespace toolkit
