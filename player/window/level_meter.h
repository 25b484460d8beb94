#pragma once
#include "player/window/toolkit.h"

#include <span>
#include <vector>

namespace player {

// Bars of the levels of what is heard, one a channel, falling slowly. A control of its own class.
class level_meter {
public:
    level_meter(HWND parent, int id, const appearance& look);
    level_meter(const level_meter&) = delete;
    level_meter& operator=(const level_meter&) = delete;

    HWND window() const noexcept { return window_; }
    // The highest samples since the last time; channels that are not there have no bar.
    void show(std::span<const float> peaks, size_t channels);

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM first, LPARAM second);
    void paint(HDC context) const;

    const appearance& look_;
    std::vector<double> shares_; // 0 to 1
    HWND window_;
};

} // namespace player
