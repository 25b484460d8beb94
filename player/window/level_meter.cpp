#include "player/window/level_meter.h"

#include "player/window/session.h"

#include <algorithm>

namespace player {

namespace {

constexpr wchar_t class_name[] = L"qvxplayer meter";
constexpr double fall = 0.03; // of the bar, each time
constexpr double loud = 0.9;  // -6 dB

} // namespace

level_meter::level_meter(HWND parent, int id, const appearance& look)
    : look_(look)
    , shares_(2)
{
    register_class(class_name, &procedure);
    window_ = make_control(parent, class_name, "Level meter", 0, id);
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

void level_meter::show(std::span<const float> peaks, size_t channels)
{
    std::vector<double> next(std::clamp<size_t>(channels, 1, peaks.size()));
    for (size_t i = 0; i < next.size(); ++i)
        next[i] = std::max(meter_share(static_cast<double>(peaks[i])),
                           (i < shares_.size() ? shares_[i] : 0) - fall);
    if (next == shares_)
        return;
    shares_ = std::move(next);
    InvalidateRect(window_, nullptr, FALSE);
}

void level_meter::paint(HDC context) const
{
    RECT area;
    GetClientRect(window_, &area);
    const unique_gdi<HBRUSH> field(CreateSolidBrush(look_.field()));
    const unique_gdi<HBRUSH> quiet(CreateSolidBrush(RGB(48, 160, 80)));
    const unique_gdi<HBRUSH> high(CreateSolidBrush(RGB(220, 120, 30)));
    FillRect(context, &area, field.get());
    const int count = static_cast<int>(shares_.size()), height = area.bottom / std::max(count, 1);
    for (int i = 0; i < count; ++i) {
        const double share = shares_[static_cast<size_t>(i)];
        const auto x = [&](double at) { return static_cast<int>(at * area.right); };
        const int top = i * height, bottom = top + std::max(height - 1, 1);
        const RECT low{0, top, x(std::min(share, loud)), bottom};
        FillRect(context, &low, quiet.get());
        if (share > loud) {
            const RECT rest{x(loud), top, x(share), bottom};
            FillRect(context, &rest, high.get());
        }
    }
}

LRESULT CALLBACK level_meter::procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    const auto* self = reinterpret_cast<level_meter*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_ERASEBKGND)
        return 1;
    if (message != WM_PAINT || !self)
        return DefWindowProcW(window, message, first, second);
    PAINTSTRUCT request;
    const HDC context = BeginPaint(window, &request);
    self->paint(context);
    EndPaint(window, &request);
    return 0;
}

} // namespace player
