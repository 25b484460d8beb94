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

TEST_CASE("the gain halves exactly from the start, in both precisions, for 1 to 8 channels")
{
    for (const auto* file : both) {
        const auto plugin = open_plugin(effect_path(file));
        CHECK(plugin->name() == "qvxGain");
        CHECK(plugin->channels() == 2);
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

TEST_CASE("a gain of one passes the very bits, NaN payloads and negative zeros too")
{
    for (const auto* file : both) {
        const auto plugin = open_plugin(effect_path(file));
        plugin->set_parameter(0, 0.5);
        plugin->start(44100, 64, true);
        const uint64_t patterns[] = {0x7FF0000000000001, 0xFFF8123456789ABC, 0x8000000000000000, 0x1,
                                     0x3FB999999999999A};
        std::vector<std::vector<double>> input(2, std::vector<double>(5));
        std::memcpy(input[0].data(), patterns, sizeof(patterns));
        std::memcpy(input[1].data(), patterns, sizeof(patterns));
        const auto output = plugin->run(input, 64);
        CHECK(std::memcmp(output[0].data(), patterns, sizeof(patterns)) == 0);
        CHECK(std::memcmp(output[1].data(), patterns, sizeof(patterns)) == 0);

        // In place as well, with another factor.
        plugin->set_parameter(0, 1.0);
        double left[] = {0.25, -1}, right[] = {3, 0.1};
        std::vector<const double*> in{left, right};
        std::vector<double*> out{left, right};
        plugin->process(in, out, 2);
        CHECK(left[0] == 0.5);
        CHECK(left[1] == -2);
        CHECK(right[0] == 6);
        CHECK(right[1] == 0.2);
    }
}

TEST_CASE("the gain comes back from its state")
{
    for (const auto* file : both) {
        bytes state;
        {
            const auto plugin = open_plugin(effect_path(file));
            plugin->start(44100, 64, false);
            plugin->set_parameter(0, 0.75);
            plugin->run(std::vector<std::vector<float>>(2, std::vector<float>(8)), 8);
            state = plugin->save();
        }
        const auto plugin = open_plugin(effect_path(file));
        CHECK(plugin->parameter(0) == 0.25);
        plugin->load(state);
        CHECK(plugin->parameter(0) == 0.75);
        plugin->start(44100, 64, false);
        CHECK(plugin->run(std::vector<std::vector<float>>(2, std::vector<float>(8, 0.5f)), 8)[1][7] == 0.75f);
        plugin->stop();
    }
}
