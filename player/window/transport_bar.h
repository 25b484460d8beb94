#pragma once
#include "player/playback/playback_engine.h"
#include "player/window/level_meter.h"

namespace player {

// Play, pause, stop, the place in the file, the time and the levels. Main thread.
class transport_bar {
public:
    transport_bar(HWND parent, playback_engine& engine, const appearance& look);

    bool command(int id);    // false: not one of its own
    void scrolled(int code); // WM_HSCROLL of the bar
    HWND bar() const noexcept { return bar_; }

    void show(const play_status& now);
    void arrange(const appearance& look, int left, int top, int width) const; // one line high
    static int height(const appearance& look) { return look.scaled(34); }

private:
    playback_engine& engine_;
    HWND play_, pause_, stop_, label_, bar_, time_;
    level_meter meter_;
    bool held_ = false; // the user drags the bar
    double length_ = 0;
    double asked_ = -1;      // seconds that were sought, until they are heard
    ULONGLONG asked_at_ = 0; // and not for long
};

} // namespace player
