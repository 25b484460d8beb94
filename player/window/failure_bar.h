#pragma once
#include "player/playback/playback_engine.h"
#include "player/window/toolkit.h"

namespace player {

// One sentence about what stopped the music, and what can be done about it. Hidden while nothing has. Main
// thread.
class failure_bar {
public:
    explicit failure_bar(HWND parent);

    // `name` is the DSP's now, empty when it is not in the chain any more: the sentence keeps the name that
    // it failed under. True when the bar came or went.
    bool show(const play_status& now, const std::string& name);
    bool is_shown() const noexcept { return shown_; }
    uint64_t slot() const noexcept { return slot_; } // of the DSP that failed; 0: it was something else

    void arrange(const appearance& look, int left, int top, int width) const; // two lines high
    static int height(const appearance& look) { return look.scaled(62); }

private:
    HWND text_, start_again_, leave_out_, configure_;
    bool shown_ = false;
    uint64_t slot_ = 0;
    std::string reason_;
};

// The sentence. Pure.
std::string failure_sentence(const std::string& name, const std::string& reason);

} // namespace player
