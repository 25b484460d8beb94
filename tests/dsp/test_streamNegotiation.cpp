#include "dsp/streamNegotiation.h"

#include <doctest/doctest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string text_of(const audioFormat& format)
{
    return std::to_string(format.rate) + " " + std::to_string(format.channels) + " " +
           std::to_string(format.mask);
}

// "worker -> output" of what was agreed, or the text of the refusal.
std::string outcome(const audioFormat& input, const Nv::streamFormat& reply, uint32_t output_mask)
{
    try {
        const negotiatedFormat agreed = acceptFormatReply(input, reply, output_mask);
        return text_of(agreed.worker) + " -> " + text_of(agreed.output);
    } catch (const std::runtime_error& refusal) {
        return refusal.what();
    }
}

} // namespace

TEST_CASE("a format request asks for the input's layout, or for the override's")
{
    const audioFormat surround = {48000, 6, 0x60F};
    CHECK(makeFormatRequest(surround, 0) == Nv::streamFormat{48000, 6, 0x60F, 6, 0x60F});
    CHECK(makeFormatRequest(surround, 0x3) == Nv::streamFormat{48000, 6, 0x60F, 2, 0x3});
    CHECK(makeFormatRequest({8000, 1, 0}, 0xFFFFFFFF) == Nv::streamFormat{8000, 1, 0, 32, 0xFFFFFFFF});
}

TEST_CASE("a format reply: invalid, refused or accepted")
{
    const std::string invalid = "Invalid reply when setting audio format";
    const std::string refused = "VST refused audio stream format - got: ";
    const audioFormat stereo = {44100, 2, 0x3};
    struct row {
        audioFormat input;
        Nv::streamFormat reply;
        uint32_t override_mask;
        std::string expected;
    };
    const row rows[] = {
        // What cannot be is told apart from what is not wanted, and comes first.
        {stereo, {999, 2, 3, 2, 3}, 0, invalid},
        {stereo, {1000, 2, 3, 2, 3}, 0, refused + "44100Hz 2ch, VST wants: 1000Hz 2ch"},
        {stereo, {20000000, 2, 3, 2, 3}, 0, refused + "44100Hz 2ch, VST wants: 20000000Hz 2ch"},
        {stereo, {20000001, 2, 3, 2, 3}, 0, invalid},
        {stereo, {44100, 0, 0, 2, 3}, 0, invalid},
        {stereo, {44100, 32, 0, 2, 3}, 0, refused + "2ch, VST wants: 32ch"},
        {stereo, {44100, 33, 0, 2, 3}, 0, invalid},
        {stereo, {0xFFFFFFFF, 0xFFFFFFFF, 0, 2, 3}, 0, invalid},
        {{44100, 33, 0}, {44100, 33, 0, 2, 3}, 0, invalid}, // also when it was offered
        {{44100, 32, 0}, {44100, 32, 0, 2, 3}, 0, "44100 2 3 -> 44100 2 3"},
        {stereo, {44100, 2, 3, 257, 0}, 0, invalid},
        {stereo, {44100, 2, 3, 0xFFFFFFFF, 0}, 0x3, invalid},
        {stereo, {44100, 2, 3, 256, 0}, 0, "44100 256 0 -> 44100 256 0"},
        // Refusals name the rates only when they differ.
        {{44100, 6, 0x3F}, {44100, 2, 3, 2, 3}, 0, refused + "6ch, VST wants: 2ch"},
        {{44100, 6, 0x3F}, {48000, 6, 0x3F, 6, 0x3F}, 0, refused + "44100Hz 6ch, VST wants: 48000Hz 6ch"},
        {{44100, 6, 0x3F}, {44100, 2, 3, 999, 0}, 0, refused + "6ch, VST wants: 2ch"},
        // Masks: valid, of another count, none. The input's does not count.
        {stereo, {44100, 2, 0, 2, 0x30}, 0, "44100 2 48 -> 44100 2 48"},
        {stereo, {44100, 2, 0xFFFF, 3, 0x3}, 0, "44100 3 0 -> 44100 3 0"},
        {stereo, {44100, 2, 3, 2, 0x7}, 0, "44100 2 0 -> 44100 2 3"},
        {stereo, {44100, 2, 3, 2, 0}, 0, "44100 2 0 -> 44100 2 3"},
        {stereo, {44100, 2, 3, 1, 0}, 0, "44100 1 0 -> 44100 1 4"},
        {stereo, {44100, 2, 3, 1, 0x1}, 0, "44100 1 1 -> 44100 1 1"},
        {stereo, {44100, 2, 3, 0, 0}, 0, "44100 0 0 -> 44100 0 0"},
        {stereo, {44100, 2, 3, 4, 0}, 0, "44100 4 0 -> 44100 4 0"},
        {stereo, {44100, 2, 3, 6, 0x60F}, 0, "44100 6 1551 -> 44100 6 1551"},
        // The override wins over whatever the worker says.
        {stereo, {44100, 2, 3, 2, 3}, 0x3F, "44100 2 3 -> 44100 6 63"},
        {stereo, {44100, 2, 3, 2, 0x7}, 0x4, "44100 2 0 -> 44100 1 4"},
        {stereo, {44100, 2, 3, 0, 0}, 0x3, "44100 0 0 -> 44100 2 3"},
        {stereo, {44100, 2, 3, 6, 0x3F}, 0x80000000, "44100 6 63 -> 44100 1 2147483648"},
    };
    for (const row& each : rows) {
        CAPTURE(&each - rows);
        CHECK(outcome(each.input, each.reply, each.override_mask) == each.expected);
    }
}

TEST_CASE("remapping keeps every bit of a sample, drops what is too much and silences what is missing")
{
    // Patterns that a copy through a register may change: signalling NaNs with payloads, denormals, -0.0.
    const uint64_t patterns[] = {0x7FF0000000000001, 0xFFF4DEADBEEF1234, 0x0000000000000001,
                                 0x8000000000000000, 0x7FF8000000000000, 0x3FF0000000000000,
                                 0x7FF7FFFFFFFFFFFF};
    constexpr size_t frames = 5;
    constexpr uint64_t untouched = 0xAAAAAAAAAAAAAAAA;
    for (uint32_t from = 0; from <= 8; ++from) {
        for (uint32_t to = 0; to <= 8; ++to) {
            CAPTURE(from);
            CAPTURE(to);
            // A byte in front, so that the source lies odd as it may in a byte buffer.
            std::vector<unsigned char> source(1 + frames * from * sizeof(double));
            std::vector<uint64_t> expected(frames * to + 1, 0);
            for (size_t i = 0; i < frames * from; ++i) {
                const uint64_t bits = patterns[i % std::size(patterns)];
                std::memcpy(&source[1 + i * sizeof(bits)], &bits, sizeof(bits));
                if (i % from < to)
                    expected[i / from * to + i % from] = bits;
            }
            expected.back() = untouched;

            std::vector<double> target(frames * to + 1);
            std::memset(target.data(), 0xAA, target.size() * sizeof(double));
            remapChannels(target.data(), to, source.data() + 1, from, frames);
            CHECK(std::memcmp(target.data(), expected.data(), expected.size() * sizeof(uint64_t)) == 0);
        }
    }
    remapChannels(nullptr, 0, nullptr, 2, 0);
    remapChannels(nullptr, 2, nullptr, 0, 0);
}
