#include "effects/plugin_driver.h"

#include <doctest/doctest.h>

#include <cstring>
#include <random>

namespace {

const wchar_t* const both[] = {L"qvxGain.dll", L"qvxGain.vst3"};

template <class Sample>
std::vector<std::vector<Sample>> noise(int channels, std::size_t frames)
{
    std::mt19937 random(static_cast<unsigned>(channels));
    std::uniform_real_distribution<Sample> values(-1, 1);
    std::vector<std::vector<Sample>> made(static_cast<std::size_t>(channels), std::vector<Sample>(frames));
    for (auto& channel : made)
        for (auto& sample : channel)
            sample = values(random);
    return made;
}

template <class Sample>
std::vector<std::vector<Sample>> scaled(std::vector<std::vector<Sample>> samples, Sample factor)
{
    for (auto& channel : samples)
        for (auto& sample : channel)
            sample *= factor;
    return samples;
}

} // namespace

TEST_CASE("the gain scales exactly from the start, in both precisions, for 1 to 8 channels")
{
    for (const auto* file : both) {
        const auto plugin = open_plugin(effect_path(file));
        CHECK(plugin->name() == "qvxGain");
        CHECK(plugin->latency() == 0);
        for (int channels = 1; channels <= 8; ++channels) {
            CAPTURE(channels);
            REQUIRE(plugin->set_channels(channels));
            CHECK(plugin->channels() == channels);
            plugin->start(48000, 512, false);
            const auto single = noise<float>(channels, 1000);
            CHECK(plugin->run(single, 512) == scaled(single, 0.5f));
            plugin->start(48000, 512, true);
            const auto twice = noise<double>(channels, 1000);
            CHECK(plugin->run(twice, 512) == scaled(twice, 0.5));
            plugin->stop();
        }
        CHECK_FALSE(plugin->set_channels(0));
        CHECK(plugin->channels() == 8);
    }
}

TEST_CASE("a gain of one passes the very bits, and comes back from its state")
{
    const uint64_t patterns[] = {0x7FF0000000000001, 0xFFF8123456789ABC, 0x8000000000000000, 0x1,
                                 0x3FB999999999999A};
    std::vector<std::vector<double>> input(2, std::vector<double>(std::size(patterns)));
    for (auto& channel : input)
        std::memcpy(channel.data(), patterns, sizeof(patterns));
    for (const auto* file : both) {
        const auto plugin = open_plugin(effect_path(file));
        plugin->set_parameter(0, 0.5);
        plugin->start(44100, 64, true);
        const auto passed = plugin->run(input, 64);
        const auto restored = open_plugin(effect_path(file));
        CHECK(restored->parameter(0) == 0.25);
        restored->load(plugin->save());
        CHECK(restored->parameter(0) == 0.5);
        restored->start(44100, 64, true);
        const auto again = restored->run(input, 64);
        for (const auto& output : {passed, again}) {
            CHECK(std::memcmp(output[0].data(), patterns, sizeof(patterns)) == 0);
            CHECK(std::memcmp(output[1].data(), patterns, sizeof(patterns)) == 0);
        }
    }
}
