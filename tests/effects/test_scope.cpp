#include "effects/plugin_driver.h"

#include "effects/scope/samples_feed.h"
#include "effects/scope/spectrum.h"

#include <doctest/doctest.h>

#include <cmath>
#include <cstring>

TEST_CASE("the scope passes the very bits in both precisions, for 1 to 8 channels")
{
    for (const wchar_t* file : {L"qvxScope.dll", L"qvxScope.vst3"}) {
        const auto plugin = open_plugin(effect_path(file));
        CHECK(plugin->name() == "qvxScope");
        for (const int channels : {1, 2, 8}) {
            plugin->stop();
            REQUIRE(plugin->set_channels(channels));
            plugin->start(48000, 512, true);
            std::vector<std::vector<double>> input(static_cast<std::size_t>(channels));
            for (auto& channel : input)
                channel = {0.1, -0.0, 1e300, std::nan("7"), 5e-324};
            const auto output = plugin->run(input, 512);
            for (std::size_t c = 0; c < input.size(); ++c)
                CHECK(std::memcmp(output[c].data(), input[c].data(), input[c].size() * sizeof(double)) == 0);
        }
    }
}

TEST_CASE("a sine stands in its band at its level, also when the ring has gone round")
{
    scope::samples_feed feed;
    feed.watch(true);
    std::vector<float> block(1000);
    double phase = 0;
    for (int i = 0; i < 300; ++i) {
        for (float& sample : block)
            sample = static_cast<float>(0.5 * std::sin(phase += 2 * 3.14159265358979 * 1000 / 48000));
        feed.hear(block.data(), block.data(), block.size());
    }
    CHECK(feed.written() == 300000);
    const auto heard = feed.last(scope::spectrum_frames);
    CHECK(heard[0].back() == block.back());
    CHECK(heard[1][scope::spectrum_frames - 1000] == block.front());
    const auto bands = scope::spectrum(heard[0], 48000, 64);
    const auto loudest = std::max_element(bands.begin(), bands.end());
    const double octaves = std::log2(scope::highest_band / scope::lowest_band);
    const double band = std::log2(1000 / scope::lowest_band) / octaves * 64;
    CHECK(std::abs(static_cast<double>(loudest - bands.begin()) + 0.5 - band) <= 1.0);
    CHECK(*loudest == doctest::Approx(-6.0).epsilon(0.2));
    CHECK(bands.back() < -80);
    CHECK(bands.front() < -80);

    // Longer than the ring: the end of it.
    std::vector<float> long_block(300000, 0.25f);
    feed.hear(long_block.data(), long_block.data(), long_block.size());
    CHECK(feed.last(scope::samples_feed::most)[0] == std::vector<float>(scope::samples_feed::most, 0.25f));
}
