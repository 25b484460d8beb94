#pragma once
// The editor window of the sample effects: a picture if there is one, a slider for each parameter, level
// meters. A plain child window drawn with GDI, nothing of the framework's. GUI thread.
//
// Sliders: drag, click, wheel, arrow keys (by a hundredth), page keys (by a tenth), Home and End; a double
// click or Delete sets the default; Tab goes to the next one. The corner at the bottom right resizes.

#include "effects/panel/layout.h"
#include "effects/panel/levels.h"

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <windows.h>

namespace panel {

struct control {
    const char* name;
    const char* unit;
    double min, max, def;
    int decimals;

    double to_normalised(double plain) const { return (plain - min) / (max - min); }
    double to_plain(double normalised) const { return min + normalised * (max - min); }
};

// What a panel shows and changes. Outlives the panel.
class subject {
public:
    virtual std::span<const control> controls() const = 0; // the same ones every time
    virtual double value(std::size_t index) const = 0;     // plain
    virtual void begin_edit(std::size_t index) = 0;
    virtual void edit(std::size_t index, double plain) = 0;
    virtual void end_edit(std::size_t index) = 0;
    // The user drags the corner: the host is asked, and calls window::resize if it agrees.
    virtual void ask_for_size(size wanted) = 0;

protected:
    ~subject() = default;
};

// What is drawn above the sliders.
class picture {
public:
    virtual ~picture() = default;
    virtual void watch(bool on) = 0; // the panel opened or closed
    // Some 30 times a second: true when draw would draw anything else than before.
    virtual bool renew() = 0;
    virtual void draw(HDC dc, const box& area, double scale) = 0;
};

class window {
public:
    // `levels` and `shown` may be null; both outlive the panel.
    window(subject& what, level_feeds* levels, picture* shown, double scale);
    ~window() { close(); }
    window(const window&) = delete;
    window& operator=(const window&) = delete;

    // A child at the parent's upper left corner. False: Windows refused.
    bool open(HWND parent);
    void close();
    HWND handle() const { return handle_; }

    size current() const { return size_; }
    size smallest() const { return smallest_size(parts_, scale_); }
    void resize(size wanted);
    // Before open, or while it is open: the size follows.
    void set_scale(double scale);
    double scale() const { return scale_; }

private:
    // What of a slider or a meter is on the screen.
    struct shown_meter {
        int bar = -1, hold = -1;
        std::wstring text;
        bool operator==(const shown_meter&) const = default;
    };

    static LRESULT CALLBACK procedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam);
    std::optional<LRESULT> handle_message(UINT message, WPARAM wparam, LPARAM lparam);
    void mouse_down(int x, int y, bool twice);
    void mouse_moved(int x, int y);
    void mouse_up();
    bool key_down(WPARAM key);
    bool show_grip_cursor() const; // false: the mouse is elsewhere
    void wheel(int delta);
    std::optional<std::size_t> slider_at(int x, int y) const;
    double normalised(std::size_t index) const;
    void change_once(std::size_t index, double normalised);
    void select(std::size_t index);
    void tick();
    shown_meter measure(const meter& what, const box& bar) const;
    void watch(bool on);
    void arrange_again();
    void make_font();

    void paint();
    void draw(HDC dc);
    void draw_slider(HDC dc, std::size_t index);
    void draw_meter(HDC dc, const row& place, const wchar_t* label, const shown_meter& shown);
    void draw_marks(HDC dc);
    void invalidate(const box& area);

    subject& subject_;
    level_feeds* levels_;
    picture* picture_;
    const parts parts_;
    double scale_;
    size size_;
    layout layout_;
    HWND handle_ = nullptr;
    HFONT font_ = nullptr;
    bool watching_ = false;
    std::size_t selected_ = 0;
    std::optional<std::size_t> dragged_;
    int drag_offset_ = 0; // from the mouse to the middle of the thumb
    std::optional<size>
        grip_offset_; // while the corner is dragged: from the mouse to the corner, on the screen
    int wheel_rest_ = 0;
    std::vector<double> shown_values_;
    meter in_, out_;
    shown_meter shown_in_, shown_out_;
    std::chrono::steady_clock::time_point last_tick_;
};

// What Windows says for this window, or for the desktop; 1 when the process leaves scaling to Windows.
double scale_for(HWND window);

} // namespace panel
