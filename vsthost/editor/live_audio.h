#pragma once
// What the player plays while an editor is open: goes from the pipe through the effect, so that its meters
// move, and nowhere else. The pipe thread never waits for the effect: what the effect is too slow for is
// dropped, oldest first. A format is set up by the GUI thread when it finds the time.

#include "vsthost/editor/processing_gate.h"
#include "vsthost/effect.h"
#include "vsthost/stream_runner.h"
#include "worker/protocol.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace vsthost {

class live_audio {
public:
    explicit live_audio(processing_gate& gate)
        : gate_(gate)
    {
    }

    // Pipe thread: whole frames of the format's input side.
    void put(const Nv::streamFormat& format, std::span<const double> samples);

    // Audio thread: for ever. Nothing is processed before a format was set up.
    [[noreturn]] void run();

    // GUI thread: true when there is audio of a format that is not set up.
    bool wants_set_up() const;
    // GUI thread: sets `runs` up for the newest format. A format that it cannot have, or its refusal to be
    // set up at all, is reported and leaves it without audio.
    void set_up(effect& runs);
    // GUI thread: after something else set the effect up, or replaced it.
    void set_up_again(effect& runs);
    // GUI thread: before the effect goes. Nothing is processed any more.
    void stop();

private:
    struct chunk {
        Nv::streamFormat format{};
        std::vector<double> samples;
    };

    void process(const chunk& now);
    void map_channels(const double* samples, size_t channels, size_t frames);

    static constexpr size_t most_chunks = 16;

    processing_gate& gate_;
    mutable std::mutex mutex_; // held for moments
    std::condition_variable changed_;
    std::array<chunk, most_chunks> ring_; // buffers are kept and grow
    size_t first_ = 0;
    size_t count_ = 0;
    std::optional<Nv::streamFormat> wanted_; // by the audio thread
    std::optional<Nv::streamFormat> ready_;

    // Of the format that is ready; touched behind the gate only.
    std::optional<stream_runner> runner_; // none: the format is one without sound
    std::vector<tail_source> sources_;    // of the effect's inputs; empty: they are the pipe's channels
    std::vector<double> mapped_;
    std::vector<double> unheard_;
};

} // namespace vsthost
