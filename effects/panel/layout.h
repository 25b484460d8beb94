#pragma once
// Where the parts of a panel stand. Pure: pixels in, boxes out. A scale of 1 is 96 dots an inch.

#include <cstddef>
#include <vector>

namespace panel {

struct size {
    int width, height;
    bool operator==(const size&) const = default;
};

struct box {
    int x = 0, y = 0, width = 0, height = 0;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
    bool contains(int px, int py) const { return px >= x && px < right() && py >= y && py < bottom(); }
};

// What a panel has, from top to bottom.
struct parts {
    bool picture;
    std::size_t sliders;
    bool meters;
};

// A label, something that shows a value, and the value as text.
struct row {
    box label, bar, text;
    box all() const { return {label.x, bar.y, text.right() - label.x, bar.height}; }
};

struct layout {
    box picture;
    std::vector<row> sliders;
    row in, out; // the meters
    box marks;   // the meters' scale
    box grip;    // the corner by which the panel is resized
    int thumb_width = 0;
};

size usual_size(const parts& what, double scale);
size smallest_size(const parts& what, double scale);
layout arrange(const parts& what, size area, double scale);

// The middle of a slider's thumb for a value of 0 to 1, and the value for a place, kept within 0 to 1.
int thumb_at(const box& track, int thumb_width, double normalised);
double value_at(const box& track, int thumb_width, int x);

} // namespace panel
