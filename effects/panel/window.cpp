#include "effects/panel/window.h"

#include <windowsx.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

extern "C" IMAGE_DOS_HEADER __ImageBase; // where this module lies: the linker's

namespace panel {

namespace {

constexpr UINT_PTR timer = 1;
constexpr UINT timer_ms = 33;
constexpr wchar_t class_name[] = L"qvxEffectPanel";
constexpr UINT dpi_changed_after_parent = 0x02E3; // WM_DPICHANGED_AFTERPARENT, which older headers lack

HINSTANCE own_module()
{
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

template <class Function>
Function* user32_function(const char* name)
{
    const HMODULE user32 = GetModuleHandleW(L"user32.dll");
    return user32 ? reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(user32, name)))
                  : nullptr;
}

} // namespace

// Both functions came with Windows 10; before, one scale held for all.
double scale_for(HWND window)
{
    UINT dpi = 0;
    if (window)
        if (auto* const of_window = user32_function<UINT WINAPI(HWND)>("GetDpiForWindow"))
            dpi = of_window(window);
    if (dpi == 0)
        if (auto* const of_system = user32_function<UINT WINAPI()>("GetDpiForSystem"))
            dpi = of_system();
    return dpi == 0 ? 1.0 : dpi / 96.0;
}

window::window(subject& what, level_feeds* levels, picture* shown, double scale)
    : subject_(what)
    , levels_(levels)
    , picture_(shown)
    , parts_{shown != nullptr, what.controls().size(), levels != nullptr}
    , scale_(scale)
    , size_(usual_size(parts_, scale))
{
    arrange_again();
}

bool window::open(HWND parent)
{
    // Each loaded copy of a module has a class of its own, which goes with its last panel.
    WNDCLASSEXW about{};
    about.cbSize = sizeof(about);
    about.style = CS_DBLCLKS;
    about.lpfnWndProc = procedure;
    about.hInstance = own_module();
    about.hCursor =
        LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)); // IDC_ARROW, whose macro is an 8-bit one here
    about.lpszClassName = class_name;
    if (!RegisterClassExW(&about) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
        return false;
    make_font();
    CreateWindowExW(0, class_name, L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | WS_CLIPSIBLINGS, 0, 0,
                    size_.width, size_.height, parent, nullptr, own_module(), this);
    if (!handle_) {
        close();
        return false;
    }
    watch(true);
    last_tick_ = std::chrono::steady_clock::now();
    SetTimer(handle_, timer, timer_ms, nullptr);
    return true;
}

void window::close()
{
    if (handle_)
        DestroyWindow(handle_);
    UnregisterClassW(class_name, own_module()); // refused while another panel is open
    if (font_)
        DeleteObject(font_);
    font_ = nullptr;
}

void window::watch(bool on)
{
    watching_ = on;
    if (levels_)
        levels_->watch(on);
    if (picture_)
        picture_->watch(on);
}

void window::resize(size wanted)
{
    size_ = wanted;
    arrange_again();
    if (handle_)
        SetWindowPos(handle_, nullptr, 0, 0, wanted.width, wanted.height,
                     SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void window::set_scale(double scale)
{
    if (scale == scale_)
        return;
    const double ratio = scale / scale_;
    scale_ = scale;
    if (handle_)
        make_font();
    const size least = smallest();
    resize({std::max(least.width, static_cast<int>(std::lround(size_.width * ratio))),
            std::max(least.height, static_cast<int>(std::lround(size_.height * ratio)))});
}

void window::arrange_again()
{
    layout_ = arrange(parts_, size_, scale_);
    shown_in_ = measure(in_, layout_.in.bar);
    shown_out_ = measure(out_, layout_.out.bar);
    if (handle_)
        InvalidateRect(handle_, nullptr, FALSE);
}

void window::make_font()
{
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof(metrics);
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0);
    LOGFONTW& font = metrics.lfMessageFont;
    font.lfHeight = -static_cast<LONG>(std::lround(12 * scale_));
    font.lfWidth = 0;
    if (font_)
        DeleteObject(font_);
    font_ = CreateFontIndirectW(&font);
}

LRESULT CALLBACK window::procedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam)
{
    if (message == WM_NCCREATE) {
        auto* const created = static_cast<window*>(reinterpret_cast<CREATESTRUCTW*>(lparam)->lpCreateParams);
        created->handle_ = handle;
        SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(created));
    }
    auto* const self = reinterpret_cast<window*>(GetWindowLongPtrW(handle, GWLP_USERDATA));
    try {
        if (self)
            if (const auto result = self->handle_message(message, wparam, lparam))
                return *result;
    } catch (...) { // out of memory: what was not drawn now is drawn with the next change
    }
    return DefWindowProcW(handle, message, wparam, lparam);
}

bool window::show_grip_cursor() const
{
    POINT at{};
    GetCursorPos(&at);
    ScreenToClient(handle_, &at);
    if (!layout_.grip.contains(at.x, at.y))
        return false;
    SetCursor(LoadCursorW(nullptr, MAKEINTRESOURCEW(32642))); // IDC_SIZENWSE
    return true;
}

std::optional<LRESULT> window::handle_message(UINT message, WPARAM wparam, LPARAM lparam)
{
    const int x = GET_X_LPARAM(lparam), y = GET_Y_LPARAM(lparam);
    switch (message) {
    case WM_ERASEBKGND:
        return 1; // all of it is painted
    case WM_PAINT:
        paint();
        return 0;
    case WM_TIMER:
        tick();
        return 0;
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
        mouse_down(x, y, message == WM_LBUTTONDBLCLK);
        return 0;
    case WM_MOUSEMOVE:
        mouse_moved(x, y);
        return 0;
    case WM_LBUTTONUP:
        if (GetCapture() == handle_)
            ReleaseCapture();
        return 0;
    case WM_CAPTURECHANGED:
        mouse_up();
        return 0;
    case WM_MOUSEWHEEL:
        wheel(GET_WHEEL_DELTA_WPARAM(wparam));
        return 0;
    case WM_GETDLGCODE: // for hosts that ask IsDialogMessage first
        return DLGC_WANTARROWS | DLGC_WANTCHARS | DLGC_WANTTAB;
    case WM_KEYDOWN:
        if (key_down(wparam))
            return 0;
        return std::nullopt;
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
        InvalidateRect(handle_, nullptr, FALSE);
        return 0;
    case WM_SETCURSOR:
        if (LOWORD(lparam) != HTCLIENT || !show_grip_cursor())
            return std::nullopt;
        return TRUE;
    case dpi_changed_after_parent:
        set_scale(scale_for(handle_));
        subject_.ask_for_size(size_);
        return 0;
    case WM_NCDESTROY: // by the host's window too, which takes its children along
        mouse_up();
        SetWindowLongPtrW(handle_, GWLP_USERDATA, 0);
        handle_ = nullptr;
        if (watching_)
            watch(false);
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<std::size_t> window::slider_at(int x, int y) const
{
    for (std::size_t i = 0; i < layout_.sliders.size(); ++i)
        if (layout_.sliders[i].all().contains(x, y))
            return i;
    return std::nullopt;
}

double window::normalised(std::size_t index) const
{
    return std::clamp(subject_.controls()[index].to_normalised(subject_.value(index)), 0.0, 1.0);
}

void window::change_once(std::size_t index, double wanted)
{
    const control& what = subject_.controls()[index];
    subject_.begin_edit(index);
    subject_.edit(index, what.to_plain(std::clamp(wanted, 0.0, 1.0)));
    subject_.end_edit(index);
    invalidate(layout_.sliders[index].all());
}

void window::select(std::size_t index)
{
    selected_ = index;
    InvalidateRect(handle_, nullptr, FALSE);
}

void window::mouse_down(int x, int y, bool twice)
{
    SetFocus(handle_);
    if (layout_.grip.contains(x, y)) {
        grip_offset_ = size{size_.width - x, size_.height - y};
        SetCapture(handle_);
        return;
    }
    const auto index = slider_at(x, y);
    if (!index)
        return;
    select(*index);
    if (twice)
        return change_once(*index,
                           subject_.controls()[*index].to_normalised(subject_.controls()[*index].def));
    const box& track = layout_.sliders[*index].bar;
    if (!track.contains(x, y))
        return;
    // The thumb keeps its place under the mouse; beside it, it jumps there.
    const int thumb = thumb_at(track, layout_.thumb_width, normalised(*index));
    drag_offset_ = std::abs(x - thumb) <= layout_.thumb_width / 2 + 1 ? thumb - x : 0;
    dragged_ = index;
    SetCapture(handle_);
    subject_.begin_edit(*index);
    if (drag_offset_ == 0)
        mouse_moved(x, y);
}

void window::mouse_moved(int x, int y)
{
    if (grip_offset_) {
        const size least = smallest();
        const size wanted{std::max(least.width, x + grip_offset_->width),
                          std::max(least.height, y + grip_offset_->height)};
        if (wanted != size_)
            subject_.ask_for_size(wanted);
        return;
    }
    if (!dragged_)
        return;
    const double wanted = value_at(layout_.sliders[*dragged_].bar, layout_.thumb_width, x + drag_offset_);
    subject_.edit(*dragged_, subject_.controls()[*dragged_].to_plain(wanted));
    invalidate(layout_.sliders[*dragged_].all());
}

void window::mouse_up()
{
    grip_offset_.reset();
    if (const auto index = std::exchange(dragged_, std::nullopt))
        subject_.end_edit(*index);
}

bool window::key_down(WPARAM key)
{
    const std::size_t count = layout_.sliders.size();
    if (count == 0 || dragged_)
        return false;
    const auto by = [this](double step) { change_once(selected_, normalised(selected_) + step); };
    switch (key) {
    case VK_RIGHT:
    case VK_UP:
        by(0.01);
        return true;
    case VK_LEFT:
    case VK_DOWN:
        by(-0.01);
        return true;
    case VK_PRIOR:
        by(0.1);
        return true;
    case VK_NEXT:
        by(-0.1);
        return true;
    case VK_HOME:
        change_once(selected_, 0);
        return true;
    case VK_END:
        change_once(selected_, 1);
        return true;
    case VK_DELETE: {
        const control& what = subject_.controls()[selected_];
        change_once(selected_, what.to_normalised(what.def));
        return true;
    }
    case VK_TAB:
        select((selected_ + (GetKeyState(VK_SHIFT) < 0 ? count - 1 : 1)) % count);
        return true;
    default:
        return false;
    }
}

// The slider under the mouse, else the selected one.
void window::wheel(int delta)
{
    wheel_rest_ += delta; // fine wheels send parts of a notch
    const int notches = wheel_rest_ / WHEEL_DELTA;
    wheel_rest_ -= notches * WHEEL_DELTA;
    if (notches == 0 || layout_.sliders.empty() || dragged_)
        return;
    POINT at{};
    GetCursorPos(&at);
    ScreenToClient(handle_, &at);
    const std::size_t index = slider_at(at.x, at.y).value_or(selected_);
    change_once(index, normalised(index) + 0.02 * notches);
}

window::shown_meter window::measure(const meter& what, const box& bar) const
{
    const auto place = [&bar](double decibels) {
        return static_cast<int>(std::lround(meter::fraction(decibels) * bar.width));
    };
    wchar_t text[32] = L"-\x221E dB";
    if (what.hold() > meter::floor_db)
        std::swprintf(text, std::size(text), L"%.1f dB", what.hold());
    return {place(what.level()), place(what.hold()), text};
}

// Redraws what has changed, whoever changed it: the host sets values too.
void window::tick()
{
    const auto now = std::chrono::steady_clock::now();
    const double seconds = std::chrono::duration<double>(now - last_tick_).count();
    last_tick_ = now;
    if (levels_) {
        in_.advance(levels_->in.take(), seconds);
        out_.advance(levels_->out.take(), seconds);
        shown_meter in = measure(in_, layout_.in.bar), out = measure(out_, layout_.out.bar);
        if (in != shown_in_)
            invalidate(layout_.in.all());
        if (out != shown_out_)
            invalidate(layout_.out.all());
        shown_in_ = std::move(in);
        shown_out_ = std::move(out);
    }
    for (std::size_t i = 0; i < layout_.sliders.size(); ++i)
        if (i < shown_values_.size() && subject_.value(i) != shown_values_[i])
            invalidate(layout_.sliders[i].all());
    if (picture_ && picture_->renew())
        invalidate(layout_.picture);
}

} // namespace panel
