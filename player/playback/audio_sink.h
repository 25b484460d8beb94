#pragma once
// Where the sound goes. One thread, the audio thread.

#include "sdk/audio_chunk.h"

#include <chrono>
#include <cstdint>
#include <memory>

namespace player {

// Of one format. Begins paused. What is written waits until it is heard; `buffered` of it is enough.
class audio_sink {
public:
    static constexpr std::chrono::milliseconds buffered{500};

    virtual ~audio_sink() = default;
    audio_sink() = default;
    audio_sink(const audio_sink&) = delete;
    audio_sink& operator=(const audio_sink&) = delete;

    // Both throw player_error when the device has stopped playing what it was given.
    virtual bool wants_more() = 0; // less than `buffered` waits
    virtual bool is_dry() = 0;     // all that was written has been heard
    // Of the sink's format. Throws player_error when the device is gone.
    virtual void write(const audio_chunk& chunk) = 0;
    virtual uint64_t heard() = 0; // frames since the beginning or the last discard
    virtual void pause(bool paused) = 0;
    virtual void discard() = 0; // drops what waits; counts from 0 again
    virtual void*
    event() noexcept = 0; // HANDLE, set now and then while something is heard; null: there is none
    virtual bool is_device() const noexcept = 0;
};

// The sound device of the system; null when there is none that takes the format.
std::unique_ptr<audio_sink> open_device_sink(uint32_t rate, uint32_t channels, uint32_t mask);
// Plays to nobody, in real time.
std::unique_ptr<audio_sink> make_clock_sink(uint32_t rate);

} // namespace player
