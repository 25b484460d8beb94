#include "player/playback/audio_sink.h"

#include <algorithm>

namespace player {

namespace {

class clock_sink : public audio_sink {
    using clock = std::chrono::steady_clock;

public:
    explicit clock_sink(uint32_t rate)
        : rate_(rate)
    {
    }
    bool wants_more() override { return written_ - heard() < buffered.count() * rate_ / 1000; }
    void write(const audio_chunk& chunk) override
    {
        settle();
        written_ += chunk.get_sample_count();
    }
    uint64_t heard() override
    {
        settle();
        return heard_;
    }
    bool is_dry() override { return heard() == written_; }
    void pause(bool paused) override
    {
        settle();
        paused_ = paused;
        since_ = clock::now();
        part_ = 0;
    }
    void discard() override
    {
        written_ = heard_ = 0;
        part_ = 0;
        since_ = clock::now();
    }
    void* event() noexcept override { return nullptr; }
    bool is_device() const noexcept override { return false; }

private:
    // Moves the clock on. While nothing is there it stands, as a device does.
    void settle()
    {
        const auto now = clock::now();
        if (!paused_) {
            const std::chrono::duration<double> passed = now - since_;
            const double frames = passed.count() * rate_ + part_;
            const auto whole = static_cast<uint64_t>(frames);
            part_ = frames - static_cast<double>(whole);
            heard_ = std::min(heard_ + whole, written_);
        }
        since_ = now;
    }

    const uint32_t rate_;
    uint64_t written_ = 0;
    uint64_t heard_ = 0;
    double part_ = 0; // of a frame
    bool paused_ = true;
    clock::time_point since_ = clock::now();
};

} // namespace

std::unique_ptr<audio_sink> make_clock_sink(uint32_t rate)
{
    return std::make_unique<clock_sink>(rate);
}

} // namespace player
