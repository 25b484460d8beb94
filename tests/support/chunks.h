#pragma once
// Chunks of audio for tests.

#include "sdk/audio_chunk_impl.h"

#include <algorithm>

inline audio_chunk_impl_t chunk_of(double value, size_t frames = 2, uint32_t channels = 2, uint32_t mask = 3,
                                   uint32_t rate = 44100)
{
    audio_chunk_impl_t chunk;
    chunk.set_data_size(frames * channels);
    chunk.set_sample_rate(rate);
    chunk.set_channels(channels, mask);
    chunk.set_sample_count(frames);
    std::fill_n(chunk.get_data(), frames * channels, value);
    return chunk;
}
