#include "effects/panel/layout.h"

#include <algorithm>
#include <cmath>

namespace panel {

namespace {

// At a scale of 1.
constexpr int margin = 12, gap = 8, label_width = 64, text_width = 72, slider_height = 28, meter_height = 20,
              marks_height = 16, grip_size = 14, thumb = 10, picture_height = 240, smallest_picture = 80;
constexpr int usual_width = 380, usual_width_with_picture = 520, smallest_width = 240;

int scaled(int length, double scale)
{
    return static_cast<int>(std::lround(length * scale));
}

// Without the picture and its gap.
int height_of_rows(const parts& what)
{
    return 2 * margin + static_cast<int>(what.sliders) * slider_height +
           (what.meters ? 2 * meter_height + marks_height : 0);
}

} // namespace

size usual_size(const parts& what, double scale)
{
    return {scaled(what.picture ? usual_width_with_picture : usual_width, scale),
            scaled(height_of_rows(what) + (what.picture ? picture_height + gap : 0), scale)};
}

size smallest_size(const parts& what, double scale)
{
    return {scaled(smallest_width, scale),
            scaled(height_of_rows(what) + (what.picture ? smallest_picture + gap : 0), scale)};
}

layout arrange(const parts& what, size area, double scale)
{
    const auto px = [scale](int length) { return scaled(length, scale); };
    const int left = px(margin), inner = std::max(1, area.width - 2 * left);
    const int label = std::min(px(label_width), inner / 3), text = std::min(px(text_width), inner / 3);
    layout made;
    made.thumb_width = px(thumb);
    made.grip = {area.width - px(grip_size), area.height - px(grip_size), px(grip_size), px(grip_size)};

    int y = left, spare = std::max(0, area.height - px(height_of_rows(what)));
    if (what.picture) {
        made.picture = {left, y, inner, std::max(1, spare - px(gap))};
        y = made.picture.bottom() + px(gap);
        spare = 0;
    }
    // What height is left over goes to the rows.
    const int rows = static_cast<int>(what.sliders) + (what.meters ? 2 : 0);
    const int more = rows > 0 ? spare / rows : 0;
    const auto next_row = [&](int height) {
        const row r{{left, y, label, height + more},
                    {left + label, y, std::max(1, inner - label - text), height + more},
                    {left + inner - text, y, text, height + more}};
        y += height + more;
        return r;
    };
    for (std::size_t i = 0; i < what.sliders; ++i)
        made.sliders.push_back(next_row(px(slider_height)));
    if (what.meters) {
        made.in = next_row(px(meter_height));
        made.out = next_row(px(meter_height));
        made.marks = {made.out.bar.x, y, made.out.bar.width, px(marks_height)};
    }
    return made;
}

int thumb_at(const box& track, int thumb_width, double normalised)
{
    return track.x + thumb_width / 2 +
           static_cast<int>(std::lround(normalised * std::max(0, track.width - thumb_width)));
}

double value_at(const box& track, int thumb_width, int x)
{
    const int way = std::max(1, track.width - thumb_width);
    const int gone = x - track.x - thumb_width / 2; // as thumb_at rounds
    return std::clamp(static_cast<double>(gone) / way, 0.0, 1.0);
}

} // namespace panel
