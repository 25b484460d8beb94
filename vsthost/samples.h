#pragma once
// Interleaved 64-bit samples of the pipe to the separate channels of an effect and back, in 32 or 64 bits.
// Pure; nothing here allocates.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace vsthost {

// One channel in goes to each of the effect's `main_count` first channels; otherwise channel by channel. The
// effect's further channels get silence. Returns a bit for each of its first 64 channels that is all zeros.
template <class Sample>
uint64_t deinterleave(const double* in, size_t in_channels, size_t frames, Sample* const* channels,
                      size_t main_count, size_t channel_count)
{
    uint64_t silent = 0;
    for (size_t c = 0; c < channel_count; ++c) {
        Sample* const out = channels[c];
        bool zero = true;
        if (c < main_count && (c < in_channels || in_channels == 1)) {
            const double* from = in + (in_channels == 1 ? 0 : c);
            for (size_t i = 0; i < frames; ++i, from += in_channels) {
                out[i] = static_cast<Sample>(*from);
                zero &= out[i] == Sample{0};
            }
        } else {
            for (size_t i = 0; i < frames; ++i)
                out[i] = Sample{0};
        }
        if (zero && c < 64)
            silent |= uint64_t{1} << c;
    }
    return silent;
}

// `silent` has a bit for each channel that counts as zeros whatever its buffer holds. Channels of the pipe
// that the effect does not have are silence. NaN and infinities become zeros; returns how many there were.
template <class Sample>
size_t interleave(const Sample* const* channels, size_t channel_count, uint64_t silent, size_t frames,
                  double* out, size_t out_channels)
{
    size_t bad = 0;
    for (size_t c = 0; c < out_channels; ++c) {
        double* to = out + c;
        if (c >= channel_count || (c < 64 && (silent >> c & 1) != 0)) {
            for (size_t i = 0; i < frames; ++i, to += out_channels)
                *to = 0.0;
            continue;
        }
        const Sample* const in = channels[c];
        for (size_t i = 0; i < frames; ++i, to += out_channels) {
            const bool good = std::abs(in[i]) <= std::numeric_limits<Sample>::max();
            *to = good ? static_cast<double>(in[i]) : 0.0;
            bad += good ? 0 : 1;
        }
    }
    return bad;
}

// Largest magnitude of a block.
inline double peak(const double* samples, size_t count)
{
    double largest = 0.0;
    for (size_t i = 0; i < count; ++i) {
        const double magnitude = std::abs(samples[i]);
        if (magnitude > largest)
            largest = magnitude;
    }
    return largest;
}

} // namespace vsthost
