#pragma once
// Interleaved 64-bit samples of the pipe to the separate channels of an effect and back, in 32 or 64 bits.
// Pure; nothing here allocates. Two channels at a time where there are two, since a pair of the pipe's
// samples fills a register.

#include <emmintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace vsthost {

namespace samples_detail {

// Two neighbours of a channel from or to 64-bit ones.
inline void store_two(double* to, __m128d values)
{
    _mm_storeu_pd(to, values);
}
inline void store_two(float* to, __m128d values)
{
    _mm_storel_pi(reinterpret_cast<__m64*>(to), _mm_cvtpd_ps(values));
}
inline __m128d load_two(const double* from)
{
    return _mm_loadu_pd(from);
}
inline __m128d load_two(const float* from)
{
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from))));
}

// Ends with the first sample that is none; music begins with one.
template <class Sample>
bool all_zero(const Sample* samples, size_t frames)
{
    for (size_t i = 0; i < frames; ++i)
        if (samples[i] != Sample{0})
            return false;
    return true;
}

template <class Sample>
void take_one(const double* in, size_t stride, size_t frames, Sample* out)
{
    size_t i = 0;
    if (stride == 1)
        for (; i + 2 <= frames; i += 2)
            store_two(out + i, _mm_loadu_pd(in + i));
    for (in += i * stride; i < frames; ++i, in += stride)
        out[i] = static_cast<Sample>(*in);
}

template <class Sample>
void take_pair(const double* in, size_t stride, size_t frames, Sample* first, Sample* second)
{
    size_t i = 0;
    for (; i + 2 <= frames; i += 2, in += 2 * stride) {
        const __m128d now = _mm_loadu_pd(in);
        const __m128d next = _mm_loadu_pd(in + stride);
        store_two(first + i, _mm_unpacklo_pd(now, next));
        store_two(second + i, _mm_unpackhi_pd(now, next));
    }
    if (i < frames) {
        first[i] = static_cast<Sample>(in[0]);
        second[i] = static_cast<Sample>(in[1]);
    }
}

// For sums that tell whether any sample is a NaN or an infinity: times zero these are NaNs, and a NaN stays
// one in a sum.
inline __m128d spoil(__m128d sum, __m128d samples)
{
    return _mm_add_pd(sum, _mm_mul_pd(samples, _mm_setzero_pd()));
}
inline bool is_spoilt(__m128d sum)
{
    return _mm_movemask_pd(_mm_cmpunord_pd(sum, sum)) != 0;
}

// NaN and infinities become zeros; returns how many there were.
template <class Sample>
size_t put_one(const Sample* in, size_t frames, double* out, size_t stride)
{
    if (stride == 1 && frames % 4 == 0) {
        // Two sums, since each addition waits for the one before.
        __m128d sum = _mm_setzero_pd();
        __m128d other = _mm_setzero_pd();
        for (size_t i = 0; i < frames; i += 4) {
            const __m128d now = load_two(in + i);
            const __m128d next = load_two(in + i + 2);
            sum = spoil(sum, now);
            other = spoil(other, next);
            _mm_storeu_pd(out + i, now);
            _mm_storeu_pd(out + i + 2, next);
        }
        if (!is_spoilt(_mm_add_pd(sum, other)))
            return 0;
    }
    size_t bad = 0;
    for (size_t i = 0; i < frames; ++i, out += stride) {
        const bool good = std::abs(in[i]) <= std::numeric_limits<Sample>::max();
        *out = good ? static_cast<double>(in[i]) : 0.0;
        bad += good ? 0 : 1;
    }
    return bad;
}

template <class Sample>
size_t put_pair(const Sample* first, const Sample* second, size_t frames, double* out, size_t stride)
{
    __m128d sum = _mm_setzero_pd();
    __m128d other = _mm_setzero_pd();
    size_t i = 0;
    double* to = out;
    for (; i + 2 <= frames; i += 2, to += 2 * stride) {
        const __m128d one = load_two(first + i);
        const __m128d two = load_two(second + i);
        sum = spoil(sum, one);
        other = spoil(other, two);
        _mm_storeu_pd(to, _mm_unpacklo_pd(one, two));
        _mm_storeu_pd(to + stride, _mm_unpackhi_pd(one, two));
    }
    size_t bad = 0;
    if (i < frames)
        bad = put_one(first + i, 1, to, 1) + put_one(second + i, 1, to + 1, 1);
    if (is_spoilt(_mm_add_pd(sum, other)))
        bad = put_one(first, frames, out, stride) + put_one(second, frames, out + 1, stride);
    return bad;
}

} // namespace samples_detail

// One channel in goes to each of the effect's `main_count` first channels; otherwise channel by channel. The
// effect's further channels get silence. Returns a bit for each of its first 64 channels that is all zeros.
template <class Sample>
uint64_t deinterleave(const double* in, size_t in_channels, size_t frames, Sample* const* channels,
                      size_t main_count, size_t channel_count)
{
    using namespace samples_detail;
    const size_t fed = in_channels == 1 || main_count < in_channels ? main_count : in_channels;
    uint64_t silent = 0;
    for (size_t c = 0; c < channel_count; ++c) {
        if (c >= fed)
            std::memset(channels[c], 0, frames * sizeof(Sample));
        else if (in_channels == 1 && c > 0)
            std::memcpy(channels[c], channels[0], frames * sizeof(Sample));
        else if (in_channels > 1 && c % 2 == 0 && c + 1 < fed)
            take_pair(in + c, in_channels, frames, channels[c], channels[c + 1]);
        else if (in_channels == 1 || c % 2 == 0)
            take_one(in + c, in_channels, frames, channels[c]);
        if (c < 64 && (c >= fed || all_zero(channels[c], frames)))
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
    using namespace samples_detail;
    const auto is_heard = [&](size_t c) {
        return c < channel_count && c < out_channels && (c >= 64 || (silent >> c & 1) == 0);
    };
    size_t bad = 0;
    for (size_t c = 0; c < out_channels; ++c) {
        if (is_heard(c) && is_heard(c + 1)) {
            bad += put_pair(channels[c], channels[c + 1], frames, out + c, out_channels);
            ++c;
        } else if (is_heard(c)) {
            bad += put_one(channels[c], frames, out + c, out_channels);
        } else {
            for (size_t i = 0; i < frames; ++i)
                out[i * out_channels + c] = 0.0;
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
