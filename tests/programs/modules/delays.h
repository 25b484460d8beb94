#pragma once
// Effects that keep samples for later: latencies and tails.

#include "programs/modules/behaviours.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <vector>

// What comes out of a line of past samples when another goes in.
inline double delayed(std::deque<double>& line, double value)
{
    line.push_back(value);
    const double oldest = line.front();
    line.pop_front();
    return oldest;
}

using delay_lines = std::vector<std::deque<double>>;

// Delays by as much as it says. Once `change_at` samples have gone through it, it says another number, which
// counts from the next start on.
class late final : public passing {
public:
    late(const bare::description& about, uint32_t samples, std::size_t change_at = SIZE_MAX)
        : passing(about)
        , samples_(samples)
        , left_(change_at)
    {
        start();
    }
    uint32_t latency() override { return samples_; }
    void start() override { lines_.assign(bare::max_channels, std::deque<double>(samples_)); }

protected:
    double sample(std::size_t channel, double input) override { return delayed(lines_[channel], input); }
    bool block_done(std::size_t frames) override
    {
        if (frames >= left_ && samples_ != 1000) {
            samples_ = 1000;
            owner()->latency_changed();
        }
        left_ -= std::min(left_, frames);
        return true;
    }

private:
    std::atomic<uint32_t> samples_;
    std::size_t left_;
    delay_lines lines_;
};

// Adds a factor times what went into (or came out of) it some samples ago.
class ringing final : public passing {
public:
    ringing(const bare::description& about, std::size_t samples, unsigned percent, bool feeds_back,
            uint32_t declared)
        : passing(about)
        , samples_(samples)
        , factor_(percent / 100.0)
        , feeds_back_(feeds_back)
        , declared_(declared)
    {
        start();
    }
    uint32_t tail() override { return declared_; }
    void start() override { lines_.assign(bare::max_channels, std::deque<double>(samples_)); }

protected:
    double sample(std::size_t channel, double input) override
    {
        const double output = input + factor_ * lines_[channel].front();
        delayed(lines_[channel], feeds_back_ ? output : input);
        return output;
    }

private:
    std::size_t samples_;
    double factor_;
    bool feeds_back_;
    uint32_t declared_;
    delay_lines lines_;
};
