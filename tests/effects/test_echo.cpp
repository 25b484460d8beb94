#include "effects/plugin_driver.h"

#include <doctest/doctest.h>

#include <cmath>

namespace {

const wchar_t* const both[] = {L"qvxEcho.dll", L"qvxEcho.vst3"};

using channels = std::vector<std::vector<float>>;

channels click_and_tone(std::size_t frames)
{
    channels made(2, std::vector<float>(frames, 0.0f));
    for (std::size_t n = 0; n < frames / 4; ++n) {
        made[0][n] = static_cast<float>(std::sin(static_cast<double>(n) * 0.05));
        made[1][n] = n == 3 ? 1.0f : 0.0f;
    }
    return made;
}

// The documented arithmetic, on plain arrays rather than a ring.
channels expected(const channels& input, double delay_ms, float feedback, float mix, double rate)
{
    const auto delay = static_cast<std::size_t>(std::max(1.0, std::floor(delay_ms * rate / 1000 + 0.5)));
    channels output = input;
    for (std::size_t c = 0; c < input.size(); ++c) {
        std::vector<float> line(input[c].size());
        for (std::size_t n = 0; n < line.size(); ++n) {
            const float d = n >= delay ? line[n - delay] : 0.0f;
            line[n] = input[c][n] + feedback * d;
            if (std::fabs(line[n]) < 1e-15f)
                line[n] = 0;
            output[c][n] = (1.0f - mix) * input[c][n] + mix * d;
        }
    }
    return output;
}

} // namespace

TEST_CASE("the echo follows its documented arithmetic at every rate and block size")
{
    for (const auto* file : both) {
        const auto plugin = open_plugin(effect_path(file));
        CHECK(plugin->name() == "qvxEcho");
        CHECK(plugin->channels() == 2);
        CHECK_FALSE(plugin->can_double());
        for (const double rate : {8000.0, 44100.0, 96000.0, 192000.0}) {
            const auto input = click_and_tone(static_cast<std::size_t>(rate));
            for (const int block : {1, 37, 1024, 70000}) {
                if (block == 1 && rate > 8000)
                    continue; // slow, and nothing new
                CAPTURE(rate);
                CAPTURE(block);
                plugin->start(rate, std::max(block, 2), false); // the framework complains about 1
                CHECK(plugin->run(input, static_cast<std::size_t>(block)) ==
                      expected(input, 250, 0.5f, 0.25f, rate));
                plugin->stop();
            }
        }
        // The shortest delay is above one sample at every rate; values exact in the parameter's range.
        plugin->set_parameter(0, 0.125);
        plugin->set_parameter(1, 0.5);
        plugin->set_parameter(2, 1.0);
        plugin->start(44100, 512, false);
        const auto input = click_and_tone(44100);
        CHECK(plugin->run(input, 512) == expected(input, 250.875, 0.4375f, 1.0f, 44100));
        plugin->stop();
        plugin->set_parameter(0, 1.0);
        plugin->start(8000, 512, false);
        const auto longer = click_and_tone(40000);
        CHECK(plugin->run(longer, 512) == expected(longer, 2000, 0.4375f, 1.0f, 8000));
        plugin->stop();
    }
}

TEST_CASE("the echo rings out to exact silence, forgets on restart and comes back from its state")
{
    for (const auto* file : both) {
        const auto plugin = open_plugin(effect_path(file));
        plugin->set_parameter(0, 0.0); // 1 ms
        plugin->start(8000, 512, false);
        channels input(2, std::vector<float>(1000, 0.0f));
        input[0][0] = input[1][0] = 1.0f;
        const auto output = plugin->run(input, 512);
        CHECK(output[0][8] == 0.25f);
        CHECK(output[0][16] == 0.125f);
        CHECK(output[1][999] == 0.0f);

        input[0][999] = 1.0f;
        plugin->run(input, 512);
        plugin->stop();
        plugin->start(8000, 512, false);
        CHECK(plugin->run(channels(2, std::vector<float>(100)), 512) == channels(2, std::vector<float>(100)));

        plugin->set_parameter(1, 0.25);
        plugin->run(input, 512);
        const bytes state = plugin->save();
        plugin->stop();
        const auto other = open_plugin(effect_path(file));
        other->load(state);
        CHECK(other->parameter(0) == 0.0);
        CHECK(other->parameter(1) == 0.25);
        CHECK(other->parameter(2) == 0.25);
    }
}
