#include "player/wav/sample_conversion.h"

#include <doctest/doctest.h>

#include <cmath>
#include <cstring>
#include <limits>

using namespace player;

namespace {

std::vector<uint8_t> packed(sample_type type, const std::vector<double>& samples)
{
    std::vector<uint8_t> bytes(samples.size() * bytes_per_sample(type));
    doubles_to_samples(type, samples.data(), bytes.data(), samples.size());
    return bytes;
}

std::vector<double> unpacked(sample_type type, const std::vector<uint8_t>& bytes)
{
    std::vector<double> samples(bytes.size() / bytes_per_sample(type));
    samples_to_doubles(type, bytes.data(), samples.data(), samples.size());
    return samples;
}

} // namespace

TEST_CASE("samples: golden bytes, rounding to the nearest step and clipping of every integer type")
{
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct row {
        sample_type type;
        double sample;
        std::vector<uint8_t> bytes;
    };
    const double step16 = 1.0 / 32768;
    const row rows[] = {
        {sample_type::int8, 0.0, {0x80}},
        {sample_type::int8, -1.0, {0x00}},
        {sample_type::int8, 1.0, {0xFF}}, // one step below full scale
        {sample_type::int8, 0.5, {0xC0}},
        {sample_type::int8, 1.4 / 128, {0x81}},
        {sample_type::int8, 1.6 / 128, {0x82}},
        {sample_type::int16, 0.5, {0x00, 0x40}},
        {sample_type::int16, -step16, {0xFF, 0xFF}},
        {sample_type::int16, 0.5 * step16, {0x00, 0x00}}, // halves go to the even step
        {sample_type::int16, 1.5 * step16, {0x02, 0x00}},
        {sample_type::int16, -0.6 * step16, {0xFF, 0xFF}},
        {sample_type::int16, 7.0, {0xFF, 0x7F}},
        {sample_type::int16, -inf, {0x00, 0x80}},
        {sample_type::int16, nan, {0x00, 0x00}},
        {sample_type::int24, -1.0, {0x00, 0x00, 0x80}},
        {sample_type::int24, 0.25, {0x00, 0x00, 0x20}},
        {sample_type::int24, inf, {0xFF, 0xFF, 0x7F}},
        {sample_type::int32, 1.0, {0xFF, 0xFF, 0xFF, 0x7F}},
        {sample_type::int32, -1.0, {0x00, 0x00, 0x00, 0x80}},
        {sample_type::int32, 1e300, {0xFF, 0xFF, 0xFF, 0x7F}},
        {sample_type::float32, 1.0, {0x00, 0x00, 0x80, 0x3F}},
        {sample_type::float32, 3.0, {0x00, 0x00, 0x40, 0x40}}, // floats are not clipped
    };
    for (const row& each : rows) {
        CAPTURE(sample_type_name(each.type));
        CAPTURE(each.sample);
        CHECK(packed(each.type, {each.sample}) == each.bytes);
    }
}

TEST_CASE("samples: every value of the small types and the corners of the wide ones come back as they were")
{
    std::vector<uint8_t> all(2 * 65536);
    for (size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<uint8_t>(i % 2 ? i / 2 >> 8 : i / 2);
    const std::vector<uint8_t> corners = {0, 0, 0,    0xFF, 0xFF, 0xFF, 1,    0,    0,    0xFF, 0xFF, 0x7F,
                                          0, 0, 0x80, 1,    0,    0x80, 0x56, 0x34, 0x12, 0xAA, 0xBB, 0xCC};
    const uint64_t patterns[] = {0,
                                 0x8000000000000000,  // -0
                                 1,                   // the smallest subnormal
                                 0x7FF0000000000001,  // signalling NaN
                                 0xFFF8DEADBEEF0001,  // NaN with a payload
                                 0x7FEFFFFFFFFFFFFF}; // the largest number
    std::vector<uint8_t> floats(sizeof(patterns));
    std::memcpy(floats.data(), patterns, sizeof(patterns));
    const std::pair<sample_type, const std::vector<uint8_t>&> rows[] = {{sample_type::int8, all},
                                                                        {sample_type::int16, all},
                                                                        {sample_type::int24, corners},
                                                                        {sample_type::int32, corners},
                                                                        {sample_type::float64, floats}};
    for (const auto& [type, bytes] : rows)
        CHECK(packed(type, unpacked(type, bytes)) == bytes);
    CHECK(unpacked(sample_type::int16, {0, 0x80}) == std::vector<double>{-1.0});
    CHECK(unpacked(sample_type::int24, {0xFF, 0xFF, 0xFF}) == std::vector<double>{-1.0 / 8388608});
}
