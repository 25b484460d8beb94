#include "sdk/audio_chunk_impl.h"

#include <cstring>
#include <new>
#include <utility>

namespace {
constexpr std::align_val_t sample_alignment{16};
}

audio_chunk_impl_t::audio_chunk_impl_t(audio_chunk_impl_t&& other) noexcept
{
    swap(other);
}

audio_chunk_impl_t& audio_chunk_impl_t::operator=(audio_chunk_impl_t&& other) noexcept
{
    swap(other);
    return *this;
}

audio_chunk_impl_t::~audio_chunk_impl_t()
{
    ::operator delete(data_, sample_alignment);
}

void audio_chunk_impl_t::swap(audio_chunk_impl_t& other) noexcept
{
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(rate_, other.rate_);
    std::swap(channels_, other.channels_);
    std::swap(mask_, other.mask_);
    std::swap(frames_, other.frames_);
}

void audio_chunk_impl_t::set_data_size(size_t sample_count_all_channels)
{
    if (sample_count_all_channels > capacity_) {
        if (sample_count_all_channels > SIZE_MAX / 2 / sizeof(double))
            throw std::bad_alloc();
        void* grown = ::operator new(sample_count_all_channels * sizeof(double), sample_alignment);
        if (size_)
            std::memcpy(grown, data_, size_ * sizeof(double));
        ::operator delete(data_, sample_alignment);
        data_ = static_cast<double*>(grown);
        capacity_ = sample_count_all_channels;
    }
    size_ = sample_count_all_channels;
}

void audio_chunk_impl_t::set_channels(uint32_t count, uint32_t mask) noexcept
{
    channels_ = count;
    mask_ = mask;
}

void audio_chunk_impl_t::copy_from(const audio_chunk& source)
{
    const size_t samples = source.get_used_size();
    set_data_size(samples);
    if (samples)
        std::memcpy(data_, source.get_data(), samples * sizeof(double));
    set_sample_rate(source.get_sample_rate());
    set_channels(source.get_channel_count(), source.get_channel_config());
    set_sample_count(source.get_sample_count());
}
