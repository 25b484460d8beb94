#pragma once
// When the effect's state is asked for while its editor is open: soon after every edit and again and again
// during a long one, but never so often that asking takes most of the time. Pure; times in ms.

#include <algorithm>
#include <cstdint>

namespace vsthost {

class save_schedule {
public:
    // The effect said that it was edited.
    void edited() noexcept { edited_ = true; }
    // A key, a button or the wheel was used: some effects change without a word, also a moment later.
    void touched(uint64_t now) noexcept { look_until_ = now + look_time; }

    bool due(uint64_t now) const noexcept
    {
        const uint64_t since = now - began_;
        if (edited_)
            return !asked_ || since >= std::max(shortest_period, took_ * 2);
        return now < look_until_ && (!asked_ || since >= std::max(shortest_period, took_ * 10));
    }
    // The state was asked for. What is said while it is being asked counts for the next time, so call
    // asking() first.
    void asking(uint64_t now) noexcept
    {
        edited_ = false;
        asked_ = true;
        began_ = now;
    }
    void asked(uint64_t now) noexcept { took_ = now - began_; }

private:
    static constexpr uint64_t shortest_period = 50;
    static constexpr uint64_t look_time = 1000;

    bool edited_ = false;
    bool asked_ = false;
    uint64_t look_until_ = 0;
    uint64_t began_ = 0;
    uint64_t took_ = 0;
};

} // namespace vsthost
