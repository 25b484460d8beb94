#pragma once
// Chunks of audio for tests.

#include "sdk/audio_chunk_impl.h"

// Format and contents of a chunk: interleaved samples first, first + step, ...
struct audio {
    uint32_t rate = 44100;
    uint32_t channels = 2;
    uint32_t mask = 0x3;
    size_t frames = 4;
    double first = 1;
    double step = 1;
};

inline void fill_chunk(audio_chunk& chunk, const audio& contents)
{
    const size_t count = contents.frames * contents.channels;
    chunk.set_data_size(count);
    chunk.set_sample_rate(contents.rate);
    chunk.set_channels(contents.channels, contents.mask);
    chunk.set_sample_count(contents.frames);
    for (size_t i = 0; i < count; ++i)
        chunk.get_data()[i] = contents.first + contents.step * static_cast<double>(i);
}

inline audio_chunk_impl_t chunk_of(double value, size_t frames = 2, uint32_t channels = 2, uint32_t mask = 3,
                                   uint32_t rate = 44100)
{
    audio_chunk_impl_t chunk;
    fill_chunk(chunk, {rate, channels, mask, frames, value, 0});
    return chunk;
}
