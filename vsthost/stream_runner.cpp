#include "vsthost/stream_runner.h"

#include "vsthost/process_shell.h"
#include "vsthost/report.h"

#include <algorithm>
#include <string>

namespace {

constexpr double inaudible = 3.1622776601683795e-5; // -90 dB
constexpr unsigned longest_tail = 30;               // seconds
constexpr size_t largest_tail = 256 * 1024 * 1024;  // bytes
constexpr unsigned failures_told = 100;

} // namespace

void vsthost::stream_runner::configure(uint32_t rate, channel_layout in, channel_layout out)
{
    rate_ = rate;
    in_ = in;
    out_ = out;
    failures_ = 0;
}

void vsthost::stream_runner::note(bool processed, size_t bad_samples)
{
    failures_ = processed ? 0 : failures_ + 1;
    // Queued for another thread, once: the audio thread does not wait for it.
    if (failures_ == failures_told && !failure_told_) {
        failure_told_ = true;
        report("the effect fails to process; silence is played instead");
    }
    if (bad_samples != 0 && !bad_told_) {
        bad_told_ = true;
        report("the effect puts out samples that are no numbers (" + std::to_string(bad_samples) +
               " in one block); silence is played instead of them");
    }
}

void vsthost::stream_runner::process(const double* in, double* out, size_t frames)
{
    audio_io& io = effect_.io();
    const watched_call watched("processing");
    while (frames != 0) {
        const size_t now = std::min(frames, io.block_size());
        io.load(in, in_.channels, now);
        const bool processed = effect_.process_block(now);
        if (!processed)
            io.clear_output(now);
        note(processed, io.store(out, out_.channels, now));
        in += now * in_.channels;
        out += now * out_.channels;
        frames -= now;
    }
}

std::vector<double> vsthost::stream_runner::drain(const tail_length& tail)
{
    if (in_.channels == 0 || out_.channels == 0)
        return {};
    const size_t most =
        std::min<size_t>(size_t{rate_} * longest_tail, largest_tail / (in_.channels * sizeof(double)));
    const size_t latency = effect_.latency();
    const uint64_t declared = tail.frames + latency;
    // Latency counts as quiet that is no end of the tail.
    const size_t quiet_limit = tail.ring_out ? rate_ / 2 + latency : most;
    const size_t total = tail.ring_out ? most : static_cast<size_t>(std::min<uint64_t>(declared, most));

    const std::vector<tail_source> sources = tail_sources(out_, in_);
    const size_t block = announced_block_size;
    const std::vector<double> silence(block * in_.channels);
    std::vector<double> heard(block * out_.channels);
    std::vector<double> result;
    size_t done = 0;
    size_t audible_end = 0; // frames up to the last block that was heard
    while (done < total && done - audible_end < quiet_limit) {
        const size_t frames = std::min(block, total - done);
        process(silence.data(), heard.data(), frames);
        for (size_t i = 0; i < frames; ++i)
            for (const tail_source& source : sources) {
                const double* const frame = heard.data() + i * out_.channels;
                double value = source.first ? frame[*source.first] : 0.0;
                if (source.second)
                    value = (value + frame[*source.second]) / 2;
                result.push_back(value);
            }
        done += frames;
        if (peak(heard.data(), frames * out_.channels) >= inaudible)
            audible_end = done;
    }
    if (tail.ring_out)
        result.resize(audible_end * in_.channels);
    return result;
}
