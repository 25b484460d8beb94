#include "ui/toolkit/theme.h"

#include "sdk/host_api.h"
#include "sdk/user_interface.h"

#include <windowsx.h>

#include <commctrl.h>
#include <uxtheme.h>

namespace toolkit {

namespace {

constexpr theme_colours dark_colours = {RGB(32, 32, 32),    RGB(240, 240, 240), RGB(25, 25, 25),
                                        RGB(240, 240, 240), RGB(60, 80, 110),   RGB(255, 255, 255)};

service_ptr_t<user_interface> player_interface() noexcept
{
    service_ptr_t<user_interface> found;
    try {
        if (core_api::get_host().are_services_available())
            service_enumerate<user_interface>([&](user_interface& one) {
                found = &one;
                return false;
            });
    } catch (...) {
        // A player that has none.
    }
    return found;
}

HBRUSH dark_brush() noexcept
{
    struct brush {
        HBRUSH handle = CreateSolidBrush(dark_colours.background);
        ~brush() { DeleteObject(handle); }
    };
    static const brush one;
    return one.handle;
}

} // namespace

bool is_dark() noexcept
{
    const auto player = player_interface();
    return player && player->is_dark();
}

theme_colours current_colours() noexcept
{
    if (is_dark())
        return dark_colours;
    return {GetSysColor(COLOR_3DFACE),     GetSysColor(COLOR_BTNTEXT),   GetSysColor(COLOR_WINDOW),
            GetSysColor(COLOR_WINDOWTEXT), GetSysColor(COLOR_HIGHLIGHT), GetSysColor(COLOR_HIGHLIGHTTEXT)};
}

void follow_theme(HWND window) noexcept
{
    const auto player = player_interface();
    if (!player)
        return;
    try {
        service_ptr_t<user_interface_look> look;
        player->get_look(look);
        if (!look)
            return;
        look->follow_frame(window);
        look->follow_theme(window);
    } catch (...) {
        // The window works without.
    }
}

INT_PTR control_colour(HDC context) noexcept
{
    if (!is_dark())
        return 0;
    SetTextColor(context, dark_colours.text);
    SetBkColor(context, dark_colours.background);
    return reinterpret_cast<INT_PTR>(dark_brush());
}

void dress_list_view(HWND list) noexcept
{
    const theme_colours colours = current_colours();
    if (ListView_GetBkColor(list) == colours.list_background &&
        ListView_GetTextColor(list) == colours.list_text)
        return; // also ends the round: a new window theme brings WM_THEMECHANGED
    ListView_SetBkColor(list, colours.list_background);
    ListView_SetTextBkColor(list, colours.list_background);
    ListView_SetTextColor(list, colours.list_text);
    SetWindowTheme(list, is_dark() ? L"DarkMode_Explorer" : nullptr, nullptr);
    InvalidateRect(list, nullptr, TRUE);
}

} // namespace toolkit
