#include "vsthost/editor/live_audio.h"

#include "vsthost/exit_codes.h"
#include "vsthost/report.h"

#include <algorithm>
#include <utility>

namespace {

constexpr uint32_t lowest_rate = 1000; // Hz
constexpr uint32_t highest_rate = 20000000;
constexpr uint32_t most_channels = 256;

bool is_possible(const Nv::streamFormat& format)
{
    return format.sampleRate >= lowest_rate && format.sampleRate <= highest_rate && format.inChannels != 0 &&
           format.inChannels <= most_channels;
}

} // namespace

void vsthost::live_audio::put(const Nv::streamFormat& format, std::span<const double> samples)
{
    {
        const std::lock_guard lock(mutex_);
        if (count_ == most_chunks) {
            first_ = (first_ + 1) % most_chunks;
            --count_;
        }
        chunk& into = ring_[(first_ + count_) % most_chunks];
        into.format = format;
        into.samples.assign(samples.begin(), samples.end());
        ++count_;
    }
    changed_.notify_all();
}

void vsthost::live_audio::run()
{
    chunk now;
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return count_ != 0; });
            std::swap(now, ring_[first_]);
            first_ = (first_ + 1) % most_chunks;
            --count_;
            if (ready_ != now.format) {
                wanted_ = now.format;
                // As long as the GUI thread is busy, for ever if need be; the pipe is read on meanwhile.
                changed_.wait(lock, [&] { return ready_ == now.format; });
            }
        }
        process(now);
    }
}

bool vsthost::live_audio::wants_set_up() const
{
    const std::lock_guard lock(mutex_);
    return wanted_.has_value() && wanted_ != ready_;
}

void vsthost::live_audio::set_up(effect& runs)
{
    std::optional<Nv::streamFormat> format;
    {
        const std::lock_guard lock(mutex_);
        format = wanted_;
    }
    if (!format)
        return;
    {
        const processing_gate::pause pause(gate_);
        runner_.reset();
        if (is_possible(*format)) {
            const channel_layout heard{format->inChannels, format->inChannelMask};
            try {
                const bus_pair own = runs.prepare(format->sampleRate, {heard, heard});
                sources_.clear();
                channel_layout in = heard;
                // A mono input goes to every input of the effect without help.
                if (own.in.channels != heard.channels && heard.channels != 1 && own.in.channels != 0) {
                    sources_ = tail_sources(heard, own.in);
                    in = own.in;
                }
                mapped_.resize(announced_block_size * in.channels);
                unheard_.resize(announced_block_size * own.out.channels);
                runner_.emplace(runs).configure(format->sampleRate, in, own.out);
            } catch (const fatal_error& error) {
                report(std::string(error.what()) + "; its editor gets no audio");
            }
        }
    }
    {
        const std::lock_guard lock(mutex_);
        ready_ = format;
    }
    changed_.notify_all();
}

void vsthost::live_audio::set_up_again(effect& runs)
{
    set_up(runs);
}

void vsthost::live_audio::stop()
{
    const processing_gate::pause pause(gate_);
    runner_.reset();
}

void vsthost::live_audio::map_channels(const double* samples, size_t channels, size_t frames)
{
    double* out = mapped_.data();
    for (size_t i = 0; i < frames; ++i, samples += channels)
        for (const tail_source& source : sources_) {
            double value = source.first ? samples[*source.first] : 0.0;
            if (source.second)
                value = (value + samples[*source.second]) / 2;
            *out++ = value;
        }
}

void vsthost::live_audio::process(const chunk& now)
{
    const size_t channels = now.format.inChannels;
    if (channels == 0)
        return;
    const double* samples = now.samples.data();
    for (size_t left = now.samples.size() / channels; left != 0;) {
        const size_t frames = std::min(left, announced_block_size);
        const processing_gate::block block(gate_);
        // Set up for something else in between: the next chunk asks for its own.
        if (!runner_)
            return;
        if (!sources_.empty()) {
            map_channels(samples, channels, frames);
            runner_->process(mapped_.data(), unheard_.data(), frames);
        } else {
            runner_->process(samples, unheard_.data(), frames);
        }
        samples += frames * channels;
        left -= frames;
    }
}
