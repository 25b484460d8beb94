// The worker programs as the player starts them, with the sample effects.

#include "vsthost/worker_driver.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

using namespace worker_driver;

namespace {

struct effect_kind {
    std::string file;
    int version;
    std::string unity_state; // of the gain
};
const effect_kind gains[] = {{"qvxGain.dll", 2, "gain-unity.fxp"},
                             {"qvxGain.vst3", 3, "gain-unity.vstpreset"}};

// Values that 32-bit floats hold exactly, so that half of them is exact on the whole way.
std::vector<double> exact_samples(size_t count)
{
    std::vector<double> samples(count);
    uint32_t random = 12345;
    for (double& sample : samples) {
        random = random * 1664525u + 1013904223u;
        sample = static_cast<double>(static_cast<int32_t>(random) >> 8) / (1 << 23);
    }
    return samples;
}

std::vector<double> times(double factor, std::vector<double> samples)
{
    for (double& sample : samples)
        sample *= factor;
    return samples;
}

Nv::streamFormat format(uint32_t channels, uint32_t mask, uint32_t rate = 44100)
{
    return {rate, channels, mask, channels, mask};
}

// A stream as the component opens it.
Nv::streamFormat open_stream(worker& with, const Nv::streamFormat& wanted,
                             const std::vector<uint8_t>& state = {})
{
    with.set_state(state);
    return with.set_format(wanted);
}

} // namespace

TEST_CASE("layouts from mono to 7.1 keep their channels in order")
{
    constexpr std::pair<uint32_t, uint32_t> layouts[] = {{1, 0x4},  {2, 0x3},  {3, 0x7},   {4, 0x33},
                                                         {5, 0x37}, {6, 0x3F}, {6, 0x60F}, {8, 0x63F},
                                                         {1, 0},    {6, 0}};
    for (const std::string& arch : arches())
        for (const effect_kind& gain : gains) {
            CAPTURE(arch);
            CAPTURE(gain.file);
            worker with({arch, effect_path(arch, gain.file), gain.version});
            for (const auto& [channels, mask] : layouts) {
                CAPTURE(channels);
                CAPTURE(mask);
                const Nv::streamFormat reply = open_stream(with, format(channels, mask, 48000));
                CHECK(reply.sampleRate == 48000);
                CHECK(reply.inChannels == channels);
                REQUIRE(reply.outChannels == channels);
                const std::vector<double> in = exact_samples(size_t{channels} * 1500);
                CHECK(with.process(in, channels).audio == times(0.5, in));
            }
        }
}

TEST_CASE("a state is taken over; a broken or foreign one is reported and gives the defaults")
{
    for (const std::string& arch : arches())
        for (const effect_kind& gain : gains) {
            CAPTURE(arch);
            CAPTURE(gain.file);
            const auto unity = read_file(dist() + "\\effects\\states\\" + gain.unity_state);
            const std::vector<double> in = exact_samples(3000);
            worker with({arch, effect_path(arch, gain.file), gain.version});
            open_stream(with, format(2, 0x3), unity);
            CHECK(with.process(in, 2).audio == in);

            auto truncated = unity;
            truncated.resize(truncated.size() - 5);
            open_stream(with, format(2, 0x3), truncated);
            CHECK(with.process(in, 2).audio == times(0.5, in));

            open_stream(with, format(2, 0x3), unity);
            CHECK(with.process(in, 2).audio == in);
            auto foreign = unity;
            foreign[gain.version == 3 ? 12 : 18] ^= 1;
            open_stream(with, format(2, 0x3), foreign);
            CHECK(with.process(in, 2).audio == times(0.5, in));

            // None at all: the defaults as well, and nothing to report.
            open_stream(with, format(2, 0x3), unity);
            open_stream(with, format(2, 0x3));
            CHECK(with.process(in, 2).audio == times(0.5, in));
            with.break_pipe();
            CHECK(with.wait() == 0);
            const std::string said = with.errors();
            CHECK(said.find("truncated") != std::string::npos);
            CHECK(said.find("belongs to another effect") != std::string::npos);
            CHECK(std::ranges::count(said, '\n') == 3);
        }
}
