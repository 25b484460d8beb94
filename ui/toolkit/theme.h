#pragma once
// The look of the component's windows: the player's theme, light or dark. Main thread only. Without a player
// that has themes everything looks as the platform has it. Buttons and combo boxes keep the platform's look
// in the dark, which is readable.

#include <windows.h>

namespace toolkit {

struct theme_colours {
    COLORREF background, text;           // of a dialog
    COLORREF list_background, list_text; // of a list
    COLORREF selected_background, selected_text;
};

bool is_dark() noexcept; // as of now
theme_colours current_colours() noexcept;

// The window's frame follows the player's theme from now on, and the window gets WM_THEMECHANGED, itself and
// its children, when that changes.
void follow_theme(HWND window) noexcept;

// The answer of a dialog's procedure to WM_CTLCOLORDLG, ...STATIC and ...BTN: a brush, or 0 for the
// platform's own.
INT_PTR control_colour(HDC context) noexcept;

// Colours and scroll bars of a list view, for its creation and for each WM_THEMECHANGED.
void dress_list_view(HWND list) noexcept;

} // namespace toolkit
