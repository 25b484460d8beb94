#include "player/playback/audio_sink.h"

#include "player/system/player_error.h"
#include "player/wav/sample_conversion.h"
#include "player/wav/wav_format.h"
#include "win/handle.h"

#include <mmsystem.h>

#include <algorithm>
#include <cstring>
#include <deque>

namespace player {

namespace {

// A device that has sound to play and ends none of it in this time is gone: not every driver says so when it
// is pulled out or its service ends.
constexpr ULONGLONG stalled_ms = 5000;

// One piece of sound on its way. The device knows the header's address.
struct buffer {
    WAVEHDR header{};
    std::vector<uint8_t> bytes;
    size_t frames = 0;
};

class wave_out_sink : public audio_sink {
public:
    // Check is_open before anything else.
    explicit wave_out_sink(const wav_format& format)
        : format_(format)
        , event_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {
        // The structure that the call wants is what a WAV's header holds, with a size at its end.
        std::vector<uint8_t> bytes = write_fmt(format);
        bytes.resize(std::max(bytes.size(), sizeof(WAVEFORMATEX)));
        if (event_ &&
            waveOutOpen(&device_, WAVE_MAPPER, reinterpret_cast<const WAVEFORMATEX*>(bytes.data()),
                        reinterpret_cast<DWORD_PTR>(event_.get()), 0, CALLBACK_EVENT) != MMSYSERR_NOERROR)
            device_ = nullptr;
        if (device_)
            waveOutPause(device_);
    }
    ~wave_out_sink() override
    {
        if (!device_)
            return;
        waveOutReset(device_);
        for (const auto& each : on_the_way_)
            waveOutUnprepareHeader(device_, &each->header, sizeof(WAVEHDR));
        waveOutClose(device_);
    }
    bool is_open() const noexcept { return device_ != nullptr; }

    bool wants_more() override
    {
        check_progress();
        return written_ - heard_ < buffered.count() * format_.rate / 1000;
    }
    void write(const audio_chunk& chunk) override
    {
        collect();
        if (spare_.empty())
            spare_.push_back(std::make_unique<buffer>());
        auto next = std::move(spare_.back());
        spare_.pop_back();
        next->frames = chunk.get_sample_count();
        next->bytes.resize(next->frames * format_.bytes_per_frame());
        doubles_to_samples(format_.type, chunk.get_data(), next->bytes.data(), chunk.get_used_size());
        next->header = {};
        next->header.lpData = reinterpret_cast<LPSTR>(next->bytes.data());
        next->header.dwBufferLength = static_cast<DWORD>(next->bytes.size());
        check(waveOutPrepareHeader(device_, &next->header, sizeof(WAVEHDR)));
        on_the_way_.push_back(std::move(next));
        written_ += on_the_way_.back()->frames;
        check(waveOutWrite(device_, &on_the_way_.back()->header, sizeof(WAVEHDR)));
    }
    uint64_t heard() override
    {
        collect();
        return heard_;
    }
    bool is_dry() override
    {
        check_progress();
        return on_the_way_.empty();
    }
    void pause(bool paused) override
    {
        paused_ = paused;
        last_progress_ = GetTickCount64();
        paused ? waveOutPause(device_) : waveOutRestart(device_);
    }
    void discard() override
    {
        waveOutReset(device_);
        collect();
        // A reset also ends a pause.
        waveOutPause(device_);
        paused_ = true;
        written_ = heard_ = 0;
    }
    void* event() noexcept override { return event_.get(); }
    bool is_device() const noexcept override { return true; }

private:
    void collect()
    {
        while (!on_the_way_.empty() && (on_the_way_.front()->header.dwFlags & WHDR_DONE)) {
            auto done = std::move(on_the_way_.front());
            on_the_way_.pop_front();
            waveOutUnprepareHeader(device_, &done->header, sizeof(WAVEHDR));
            heard_ += done->frames;
            spare_.push_back(std::move(done));
            last_progress_ = GetTickCount64();
        }
    }
    // Throws when what waits is not played.
    void check_progress()
    {
        collect();
        if (on_the_way_.empty())
            last_progress_ = GetTickCount64();
        else if (!paused_ && GetTickCount64() - last_progress_ > stalled_ms)
            throw player_error("the sound device plays no more; play again to use another one");
    }
    static void check(MMRESULT result)
    {
        if (result == MMSYSERR_NOERROR)
            return;
        throw player_error("the sound device is gone (code " + std::to_string(result) +
                           "); play again to use another one");
    }

    const wav_format format_;
    win::kernel_handle event_;
    HWAVEOUT device_ = nullptr;
    std::deque<std::unique_ptr<buffer>> on_the_way_;
    std::vector<std::unique_ptr<buffer>> spare_;
    uint64_t written_ = 0;
    uint64_t heard_ = 0;
    bool paused_ = true;
    ULONGLONG last_progress_ = 0; // GetTickCount64: the last sound that ended, or the end of a pause
};

} // namespace

std::unique_ptr<audio_sink> open_device_sink(uint32_t rate, uint32_t channels, uint32_t mask)
{
    if (waveOutGetNumDevs() == 0)
        return nullptr;
    for (const sample_type type : {sample_type::float32, sample_type::int16}) {
        auto sink = std::make_unique<wave_out_sink>(wav_format{type, rate, channels, mask});
        if (sink->is_open())
            return sink;
    }
    return nullptr;
}

} // namespace player
