#include "player/wav/wav_format.h"

#include <doctest/doctest.h>

using namespace player;

namespace {

std::vector<uint8_t> patched(std::vector<uint8_t> fmt, size_t at, std::vector<uint8_t> bytes)
{
    std::copy(bytes.begin(), bytes.end(), fmt.begin() + static_cast<std::ptrdiff_t>(at));
    return fmt;
}

} // namespace

TEST_CASE("wav format: golden bytes of the plain and the extensible form")
{
    CHECK(write_fmt({sample_type::int16, 44100, 2, 3}) ==
          std::vector<uint8_t>{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0});
    CHECK(write_fmt({sample_type::float32, 8000, 1, 4}).size() == 18);
    const std::vector<uint8_t> wide = write_fmt({sample_type::int24, 96000, 6, 0x60F});
    REQUIRE(wide.size() == 40);
    CHECK(std::vector<uint8_t>(wide.begin(), wide.begin() + 4) == std::vector<uint8_t>{0xFE, 0xFF, 6, 0});
    CHECK(std::vector<uint8_t>(wide.begin() + 16, wide.begin() + 26) ==
          std::vector<uint8_t>{22, 0, 24, 0, 0x0F, 0x06, 0, 0, 1, 0});
}

TEST_CASE("wav format: a file without a usable mask counts as the usual layout of its channels")
{
    const uint32_t expected[] = {0x4, 0x3, 0, 0x33, 0, 0x3F, 0, 0x63F, 0};
    for (uint32_t channels = 1; channels <= 9; ++channels) {
        // An extensible header whose mask names one speaker too many.
        std::vector<uint8_t> fmt = write_fmt({sample_type::int24, 48000, channels, 0});
        fmt = patched(fmt, 20, {0xFF, 0xFF, 0xFF, 0xFF});
        CHECK(parse_fmt(fmt).mask == expected[channels - 1]);
    }
}

TEST_CASE("wav format: headers that cannot be played are refused with a reason")
{
    const std::vector<uint8_t> good = write_fmt({sample_type::int16, 44100, 2, 3});
    const std::vector<uint8_t> wide = write_fmt({sample_type::int24, 44100, 6, 0x3F});
    const std::pair<std::vector<uint8_t>, const char*> rows[] = {
        {{}, "format chunk too short"},
        {{good.begin(), good.end() - 1}, "format chunk too short"},
        {{wide.begin(), wide.end() - 1}, "format chunk too short"},
        {patched(good, 2, {0, 0}), "no channels"},
        {patched(good, 2, {0xFF, 0xFF}), "65535 channels"},
        {patched(good, 4, {0, 0, 0, 0}), "sample rate of 0 Hz"},
        {patched(good, 4, {0xFF, 0xFF, 0xFF, 0xFF}), "sample rate of 4294967295 Hz"},
        {patched(good, 0, {2, 0}), "format tag 2"},
        {patched(good, 14, {12, 0}), "12 bits"},
        {patched(good, 14, {0, 0}), "0 bits"},
        {patched(good, 12, {0, 0}), "frame size 0"},
        {patched(good, 12, {3, 0}), "frame size 3"},
        {patched(wide, 30, {1}), "encoding that is not supported"},
    };
    for (const auto& [fmt, reason] : rows)
        CHECK_THROWS_WITH_AS(parse_fmt(fmt), doctest::Contains(reason), wav_error);
}
