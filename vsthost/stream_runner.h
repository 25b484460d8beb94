#pragma once
// Runs chunks of the pipe's audio through an effect, block by block. Pipe thread.

#include "vsthost/effect.h"

#include <cstdint>
#include <vector>

namespace vsthost {

class stream_runner {
public:
    explicit stream_runner(effect& runs)
        : effect_(runs)
    {
    }

    // What is on the pipe; the effect's own counts may differ.
    void configure(uint32_t rate, channel_layout in, channel_layout out);

    channel_layout in() const noexcept { return in_; }
    channel_layout out() const noexcept { return out_; }

    // `frames` frames of in().channels to as many of out().channels, both interleaved.
    void process(const double* in, double* out, size_t frames);

    // What is still to come, in the layout of the input: declared tail plus latency exactly, an undeclared or
    // endless one until it stays below -90 dB for half a second; 30 seconds and 256 MiB at most.
    std::vector<double> drain(const tail_length& tail);

private:
    void note(bool processed, size_t bad_samples);

    effect& effect_;
    uint32_t rate_ = 0;
    channel_layout in_;
    channel_layout out_;
    unsigned failures_ = 0; // in a row
    bool failure_told_ = false;
    bool bad_told_ = false;
};

} // namespace vsthost
