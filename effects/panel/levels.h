#pragma once
// Peak levels on their way from the audio thread to an editor, and what a meter makes of them.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>

namespace panel {

// One writer, the audio thread, which never waits; one reader. Costs the writer nothing while nobody watches.
class level_feed {
public:
    // Each panel says so once when it opens and once when it closes.
    void watch(bool on) noexcept
    {
        peak_.store(0.0f, std::memory_order_relaxed);
        watchers_.fetch_add(on ? 1 : -1, std::memory_order_relaxed);
    }
    bool watched() const noexcept { return watchers_.load(std::memory_order_relaxed) > 0; }

    // One channel of a block. What is no number counts for nothing.
    template <class Sample>
    void hear(const Sample* samples, std::size_t count) noexcept
    {
        Sample peak = 0;
        for (std::size_t n = 0; n < count; ++n)
            peak = std::max(peak, std::fabs(samples[n]));
        const float heard = static_cast<float>(std::min(peak, static_cast<Sample>(1e6)));
        float kept = peak_.load(std::memory_order_relaxed);
        while (heard > kept && !peak_.compare_exchange_weak(kept, heard, std::memory_order_relaxed)) {
        }
    }

    // The highest since the last call.
    float take() noexcept { return peak_.exchange(0.0f, std::memory_order_relaxed); }

private:
    std::atomic<float> peak_{0.0f};
    std::atomic<int> watchers_{0};
};

// Before and behind the effect.
struct level_feeds {
    level_feed in, out;

    void watch(bool on) noexcept
    {
        in.watch(on);
        out.watch(on);
    }
};

// A peak meter: rises at once, falls slowly, and comes to rest when nothing is heard. One thread: the
// panel's, GUI.
class meter {
public:
    static constexpr double floor_db = -60, top_db = 6;

    // `peak` since the last call, which was `seconds` ago.
    void advance(float peak, double seconds)
    {
        constexpr double fall = 24, hold_seconds = 1.5; // decibels a second
        const double heard =
            peak > 0.001f ? std::min(20 * std::log10(static_cast<double>(peak)), top_db) : floor_db;
        level_ = std::max({heard, level_ - fall * seconds, floor_db});
        held_for_ += seconds;
        if (level_ >= hold_ || held_for_ > hold_seconds) {
            hold_ = level_;
            held_for_ = 0;
        }
    }
    double level() const { return level_; } // decibels of full scale
    double hold() const { return hold_; }
    static double fraction(double decibels) { return (decibels - floor_db) / (top_db - floor_db); }

private:
    double level_ = floor_db, hold_ = floor_db, held_for_ = 0;
};

} // namespace panel
