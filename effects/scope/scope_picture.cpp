#include "effects/scope/scope_picture.h"

#include "effects/panel/drawing.h"
#include "effects/scope/spectrum.h"

#include <cmath>

namespace scope {

namespace {

constexpr COLORREF ground = RGB(0x0C, 0x12, 0x10), lines = RGB(0x22, 0x30, 0x2A),
                   trace_colours[] = {RGB(0x5C, 0xE0, 0x8A), RGB(0x4F, 0xA3, 0xD8)},
                   bar_colour = RGB(0xE0, 0xA8, 0x45);
constexpr std::size_t bands = 64;

class scope_picture final : public panel::picture {
public:
    explicit scope_picture(sound& heard)
        : sound_(heard)
    {
    }

    void watch(bool on) override
    {
        sound_.samples().watch(on);
        if (on)
            take();
    }
    bool renew() override
    {
        if (sound_.samples().written() == seen_ && sound_.span_ms() == span_ms_)
            return false;
        take();
        return true;
    }
    void draw(HDC dc, const panel::box& area, double scale) override;

private:
    void take();
    std::size_t trigger() const;
    void draw_trace(HDC dc, const panel::box& area, std::size_t channel, double scale) const;
    void draw_spectrum(HDC dc, const panel::box& area) const;

    sound& sound_;
    uint32_t seen_ = 0;
    double span_ms_ = 0;
    std::size_t span_ = 1, start_ = 0; // frames of heard_ that are shown
    std::array<std::vector<float>, samples_feed::channels> heard_;
    std::vector<double> bands_ = std::vector<double>(bands, spectrum_floor);
};

void scope_picture::take()
{
    const samples_feed& feed = sound_.samples();
    seen_ = feed.written();
    span_ms_ = sound_.span_ms();
    const double rate = sound_.rate();
    span_ =
        std::clamp<std::size_t>(static_cast<std::size_t>(rate * span_ms_ / 1000), 2, samples_feed::most / 2);
    heard_ = feed.last(std::max(2 * span_, spectrum_frames));
    start_ = trigger();
    std::vector<float> both(spectrum_frames);
    const std::size_t from = heard_[0].size() - spectrum_frames;
    for (std::size_t n = 0; n < spectrum_frames; ++n)
        both[n] = 0.5f * (heard_[0][from + n] + heard_[1][from + n]);
    bands_ = spectrum(both, rate, bands);
}

// Where the trace starts: the latest rise through zero that leaves a whole span, so that a steady tone stands
// still.
std::size_t scope_picture::trigger() const
{
    const std::size_t latest = heard_[0].size() - span_;
    for (std::size_t n = latest; n > latest - std::min(latest, span_); --n)
        if (heard_[0][n - 1] < 0 && heard_[0][n] >= 0)
            return n;
    return latest;
}

void scope_picture::draw(HDC dc, const panel::box& area, double scale)
{
    panel::fill(dc, area, ground);
    const panel::box upper{area.x, area.y, area.width, area.height * 3 / 5};
    const panel::box lower{area.x, upper.bottom(), area.width, area.height - upper.height};
    for (int line = 1; line < 10; ++line)
        panel::fill(dc, {area.x + area.width * line / 10, area.y, 1, upper.height}, lines);
    for (int line = 1; line <= 4; ++line)
        panel::fill(dc, {area.x, upper.y + upper.height * line / 4, area.width, 1}, lines);
    for (std::size_t c = samples_feed::channels; c-- > 0;)
        draw_trace(dc, upper, c, scale);
    draw_spectrum(dc, lower);
}

// For each column of pixels a line from the lowest to the highest sample of it, joined to the next.
void scope_picture::draw_trace(HDC dc, const panel::box& area, std::size_t channel, double scale) const
{
    const std::vector<float>& samples = heard_[channel];
    if (samples.size() < start_ + span_ || area.width < 2)
        return;
    const int half = area.height / 2;
    const auto y_of = [&area, half](float sample) {
        const double kept = std::isfinite(sample) ? std::clamp(static_cast<double>(sample), -1.0, 1.0) : 0.0;
        return area.y + half - static_cast<int>(std::lround(kept * (half - 1)));
    };
    std::vector<POINT> points;
    const auto columns = static_cast<std::size_t>(area.width);
    for (std::size_t x = 0; x < columns; ++x) {
        const std::size_t from = start_ + x * span_ / columns, end = start_ + (x + 1) * span_ / columns;
        const auto [low, high] =
            std::minmax_element(samples.begin() + static_cast<std::ptrdiff_t>(from),
                                samples.begin() + static_cast<std::ptrdiff_t>(std::max(from + 1, end)));
        const LONG at = area.x + static_cast<LONG>(x);
        points.push_back({at, y_of(low <= high ? *low : *high)});
        points.push_back({at, y_of(low <= high ? *high : *low)});
    }
    const HPEN pen =
        CreatePen(PS_SOLID, std::max(1, static_cast<int>(std::lround(scale))), trace_colours[channel]);
    const HGDIOBJ old = SelectObject(dc, pen);
    Polyline(dc, points.data(), static_cast<int>(points.size()));
    SelectObject(dc, old);
    DeleteObject(pen);
}

void scope_picture::draw_spectrum(HDC dc, const panel::box& area) const
{
    for (std::size_t b = 0; b < bands_.size(); ++b) {
        const int left = area.width * static_cast<int>(b) / static_cast<int>(bands);
        const int right = area.width * static_cast<int>(b + 1) / static_cast<int>(bands);
        const double part = std::clamp((bands_[b] - spectrum_floor) / -spectrum_floor, 0.0, 1.0);
        const int height = static_cast<int>(std::lround(part * area.height));
        panel::fill(dc, {area.x + left, area.bottom() - height, std::max(1, right - left - 1), height},
                    bar_colour);
    }
}

} // namespace

std::unique_ptr<panel::picture> make_picture(sound& heard)
{
    return std::make_unique<scope_picture>(heard);
}

} // namespace scope
