#pragma once
// What the parts of the window share: size, font, colours and making controls. Main thread.

#include <windows.h>

#include <memory>
#include <string>

namespace player {

struct gdi_delete {
    void operator()(void* object) const noexcept { DeleteObject(object); }
};
template <class Handle>
using unique_gdi = std::unique_ptr<std::remove_pointer_t<Handle>, gdi_delete>;

// How everything looks at the moment.
class appearance {
public:
    appearance() { set(96, false); }
    void set(unsigned dpi, bool dark);

    int scaled(int pixels_at_96) const noexcept { return MulDiv(pixels_at_96, static_cast<int>(dpi_), 96); }
    bool is_dark() const noexcept { return dark_; }
    HFONT font() const noexcept { return font_.get(); }
    COLORREF text() const noexcept { return dark_ ? RGB(232, 232, 232) : GetSysColor(COLOR_WINDOWTEXT); }
    COLORREF back() const noexcept { return dark_ ? RGB(32, 32, 32) : GetSysColor(COLOR_BTNFACE); }
    COLORREF field() const noexcept { return dark_ ? RGB(22, 22, 22) : GetSysColor(COLOR_WINDOW); }
    COLORREF chosen() const noexcept
    {
        return dark_ ? RGB(70, 70, 70) : GetSysColor(COLOR_BTNFACE);
    } // no focus
    HBRUSH back_brush() const noexcept { return back_brush_.get(); }

    // For WM_CTLCOLOR...: the brush behind a label, or behind an edit or list.
    HBRUSH color_label(HDC context) const noexcept;
    HBRUSH color_field(HDC context) const noexcept;
    // Gives a control the font, and its theme's colours where the platform has them.
    void dress(HWND control) const noexcept;
    void dress_children(HWND parent) const noexcept;
    void dress_list(HWND list_view) const noexcept;

private:
    unsigned dpi_ = 96;
    bool dark_ = false;
    unique_gdi<HFONT> font_;
    unique_gdi<HBRUSH> back_brush_, field_brush_;
};

unsigned dpi_of(HWND window) noexcept;

// A child window of the module's. Throws exception_win32.
HWND make_control(HWND parent, const wchar_t* class_name, const char* text, DWORD style, int id,
                  DWORD extended_style = 0);
// Registers a window class of the module's, once.
void register_class(const wchar_t* name, WNDPROC procedure, HBRUSH back = nullptr);

// What a dialog does with WM_NEXTDLGCTL: the control that it names gets the keyboard, or the next or previous
// one.
void next_control(HWND window, WPARAM first, LPARAM second) noexcept;
void set_window_text(HWND window, const std::string& text); // only when it differs, so that nothing flickers
std::string window_text(HWND window);

void place(HWND control, int left, int top, int width, int height) noexcept;

} // namespace player
