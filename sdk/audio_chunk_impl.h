#pragma once
#include "sdk/audio_chunk.h"

// The concrete chunk: 16-byte aligned storage of its own that grows and never shrinks. Movable, copied with
// copy_from.
class audio_chunk_impl_t final : public audio_chunk {
public:
    audio_chunk_impl_t() noexcept = default;
    audio_chunk_impl_t(audio_chunk_impl_t&& other) noexcept;
    audio_chunk_impl_t& operator=(audio_chunk_impl_t&& other) noexcept;
    ~audio_chunk_impl_t();

    using audio_chunk::get_data;
    double* get_data() noexcept override { return size_ ? data_ : nullptr; }
    void set_data_size(size_t sample_count_all_channels) override;
    uint32_t get_sample_rate() const noexcept override { return rate_; }
    void set_sample_rate(uint32_t rate) noexcept override { rate_ = rate; }
    uint32_t get_channel_count() const noexcept override { return channels_; }
    uint32_t get_channel_config() const noexcept override { return mask_; }
    void set_channels(uint32_t count, uint32_t mask) noexcept override;
    size_t get_sample_count() const noexcept override { return frames_; }
    void set_sample_count(size_t frames) noexcept override { frames_ = frames; }

    // Samples that set_data_size asked for last.
    size_t get_data_size() const noexcept { return size_; }

    // Becomes a copy of `source` whose data size is exactly its frames x channels, whatever the source's
    // capacity.
    void copy_from(const audio_chunk& source);

private:
    void swap(audio_chunk_impl_t& other) noexcept;

    double* data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
    uint32_t rate_ = 0;
    uint32_t channels_ = 0;
    uint32_t mask_ = 0;
    size_t frames_ = 0;
};
