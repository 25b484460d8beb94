#pragma once
// One block of audio: interleaved 64-bit floats (frame by frame) with sample rate, channel count and channel
// mask. The mask uses the speaker bits of the platform's WAVEFORMATEXTENSIBLE: 0x1 front left, 0x2 front
// right, 0x4 front centre, 0x8 low frequency, 0x10/0x20 back left/right, 0x200/0x400 side left/right; 0 means
// "not known". A chunk belongs to one thread at a time.

#include <cstddef>
#include <cstdint>

class audio_chunk {
public:
    // The samples, writable, 16-byte aligned; valid until the data size changes. Null while that is 0.
    virtual double* get_data() noexcept = 0;
    // Capacity in samples of all channels together. What was there is kept up to the smaller size.
    // Throws std::bad_alloc; the chunk is unchanged then.
    virtual void set_data_size(size_t sample_count_all_channels) = 0;
    virtual uint32_t get_sample_rate() const noexcept = 0; // Hz
    virtual void set_sample_rate(uint32_t rate) noexcept = 0;
    virtual uint32_t get_channel_count() const noexcept = 0;
    virtual uint32_t get_channel_config() const noexcept = 0;              // channel mask
    virtual void set_channels(uint32_t count, uint32_t mask) noexcept = 0; // moves no samples
    virtual size_t get_sample_count() const noexcept = 0;                  // frames
    virtual void set_sample_count(size_t frames) noexcept = 0; // the data size must already hold them

    const double* get_data() const noexcept { return const_cast<audio_chunk*>(this)->get_data(); }
    size_t get_used_size() const noexcept { return get_sample_count() * get_channel_count(); } // samples
    // A chunk without channels, rate or frames carries no audio; chains drop it.
    bool is_valid() const noexcept
    {
        return get_channel_count() != 0 && get_sample_rate() != 0 && get_sample_count() != 0;
    }

protected:
    ~audio_chunk() = default;
};
