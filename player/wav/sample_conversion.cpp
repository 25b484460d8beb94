#include "player/wav/sample_conversion.h"

#include <bit>
#include <cmath>
#include <cstring>

namespace player {

static_assert(std::endian::native == std::endian::little);

namespace {

// A signed integer of `Bytes` bytes; full scale is 2^(8 * Bytes - 1).
template <int Bytes>
int32_t load_signed(const uint8_t* bytes) noexcept
{
    uint32_t value = 0;
    std::memcpy(&value, bytes, Bytes);
    constexpr int unused = 32 - 8 * Bytes;
    return static_cast<int32_t>(value << unused) >> unused;
}

template <int Bytes>
constexpr double full_scale = static_cast<double>(int64_t{1} << (8 * Bytes - 1));

template <int Bytes>
int32_t quantise(double sample) noexcept
{
    const double scaled = std::nearbyint(sample * full_scale<Bytes>);
    if (std::isnan(scaled))
        return 0;
    if (scaled >= full_scale<Bytes> - 1)
        return static_cast<int32_t>(full_scale<Bytes> - 1);
    if (scaled <= -full_scale<Bytes>)
        return static_cast<int32_t>(-full_scale<Bytes>);
    return static_cast<int32_t>(scaled);
}

template <int Bytes>
void integers_to_doubles(const uint8_t* bytes, double* out, size_t count) noexcept
{
    for (size_t i = 0; i < count; ++i)
        out[i] = load_signed<Bytes>(bytes + i * Bytes) / full_scale<Bytes>;
}

template <int Bytes>
void doubles_to_integers(const double* in, uint8_t* bytes, size_t count) noexcept
{
    for (size_t i = 0; i < count; ++i) {
        const int32_t value = quantise<Bytes>(in[i]);
        std::memcpy(bytes + i * Bytes, &value, Bytes);
    }
}

} // namespace

void samples_to_doubles(sample_type type, const uint8_t* bytes, double* out, size_t sample_count) noexcept
{
    switch (type) {
    case sample_type::int8:
        for (size_t i = 0; i < sample_count; ++i)
            out[i] = (bytes[i] - 128) / full_scale<1>;
        return;
    case sample_type::int16:
        return integers_to_doubles<2>(bytes, out, sample_count);
    case sample_type::int24:
        return integers_to_doubles<3>(bytes, out, sample_count);
    case sample_type::int32:
        return integers_to_doubles<4>(bytes, out, sample_count);
    case sample_type::float32:
        for (size_t i = 0; i < sample_count; ++i) {
            float value;
            std::memcpy(&value, bytes + i * sizeof(value), sizeof(value));
            out[i] = static_cast<double>(value);
        }
        return;
    case sample_type::float64:
        if (sample_count)
            std::memcpy(out, bytes, sample_count * sizeof(double));
        return;
    }
}

void doubles_to_samples(sample_type type, const double* in, uint8_t* bytes, size_t sample_count) noexcept
{
    switch (type) {
    case sample_type::int8:
        for (size_t i = 0; i < sample_count; ++i)
            bytes[i] = static_cast<uint8_t>(quantise<1>(in[i]) + 128);
        return;
    case sample_type::int16:
        return doubles_to_integers<2>(in, bytes, sample_count);
    case sample_type::int24:
        return doubles_to_integers<3>(in, bytes, sample_count);
    case sample_type::int32:
        return doubles_to_integers<4>(in, bytes, sample_count);
    case sample_type::float32:
        for (size_t i = 0; i < sample_count; ++i) {
            const auto value = static_cast<float>(in[i]);
            std::memcpy(bytes + i * sizeof(value), &value, sizeof(value));
        }
        return;
    case sample_type::float64:
        if (sample_count)
            std::memcpy(bytes, in, sample_count * sizeof(double));
        return;
    }
}

} // namespace player
