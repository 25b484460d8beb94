// Audio that comes in while an editor is open.

#include "programs/modules/driven_messages.h"
#include "vsthost/editor_driver.h"

#include <cmath>
#include <memory>

using namespace editor_driver;

namespace {

std::vector<double> tone(size_t frames, uint32_t channels, double level)
{
    std::vector<double> samples(frames * channels);
    for (size_t i = 0; i < samples.size(); ++i) {
        const size_t frame = i / channels;
        samples[i] = level * std::sin(static_cast<double>(frame) * 0.1);
    }
    return samples;
}

void play(worker& to, const std::vector<double>& samples)
{
    to.send(Nv::cmdProcess, samples.data(), samples.size() * sizeof(double));
}

void format(worker& to, uint32_t rate, uint32_t channels)
{
    const Nv::streamFormat wanted{rate, channels, 0, channels, 0};
    to.send(Nv::cmdSetFormat, &wanted, sizeof wanted);
}

} // namespace

TEST_CASE("audio of any format goes through the effect, and nothing else that comes ends the editor")
{
    for_each_kind([](const kind& which) {
        // Without a file the state is never asked for: this one would crash.
        editor shown({.which = which, .name = "module_with_an_editor", .live = true});
        worker& player = shown.process();
        double level = 0.1;
        // Its two inputs get what fits of it.
        for (const uint32_t channels : {2u, 1u, 6u, 8u, 2u}) {
            CAPTURE(channels);
            level += 0.1;
            format(player, 44100 + channels, channels);
            play(player, tone(4000, channels, level));
            CHECK(wait_until([&] {
                const std::string said = shown.said();
                const size_t at = said.find("heard=");
                return at != std::string::npos &&
                       std::abs(std::strtod(said.c_str() + at + 6, nullptr) - level) < 0.01;
            }));
        }
        // No format at all, impossible ones, half a frame, something unknown, a large piece.
        for (const auto& [rate, channels] : {std::pair{44100u, 0u}, {44100u, 100000u}, {1u, 2u}}) {
            format(player, rate, channels);
            play(player, tone(100, 2, 0.9));
        }
        player.send(Nv::cmdSetFormat, "short", 5);
        player.send(77, "unknown", 7);
        player.send(Nv::cmdSetState, "state", 5);
        format(player, 48000, 2);
        player.send(Nv::cmdProcess, "0123456789", 10);
        play(player, tone(400000, 2, 0.8));
        play(player, tone(2000, 2, 0.95));
        CHECK(shown.says("heard=0.95"));
        CHECK(player.waiting() == 0);
        shown.close();
        CHECK(player.errors().empty());
    });
}

TEST_CASE("a hanging editor does not hold up the player; without a file no state is asked for")
{
    for_some_kinds([](const kind& which) {
        editor hangs({.which = which, .name = "module_with_an_editor", .live = true});
        REQUIRE(hangs.frame() != nullptr);
        hangs.tell(driven_hang);
        Sleep(100);
        format(hangs.process(), 44100, 2);
        const ULONGLONG begin = GetTickCount64();
        for (int i = 0; i < 200; ++i)
            play(hangs.process(), tone(10000, 2, 0.5)); // 32 MB
        CHECK(GetTickCount64() - begin < 5000);

        editor stateless({.which = which,
                          .name = "module_that_crashes_in_save",
                          .live = true,
                          .with_data = false,
                          .options = {"--window-title", "VST Visualization"}});
        REQUIRE(stateless.frame() != nullptr);
        format(stateless.process(), 44100, 2);
        play(stateless.process(), tone(10000, 2, 0.5));
        Sleep(200);
        stateless.close();
    });
}

TEST_CASE("effects of every kind bear audio of every kind beside their window")
{
    for_some_kinds([](const kind& which) {
        std::vector<std::unique_ptr<editor>> shown;
        for (const char* const name :
             {"module_that_is_an_instrument", "module_without_audio", "module_that_is_mono_only",
              "module_with_two_inputs_and_six_outputs", "module_that_changes_its_latency",
              "module_that_fails_to_process", "module_that_puts_out_nan"})
            shown.push_back(std::make_unique<editor>(editing{.which = which, .name = name, .live = true}));
        for (const auto& each : shown) {
            REQUIRE(each->frame() != nullptr);
            for (const uint32_t channels : {2u, 6u, 1u}) {
                format(each->process(), 48000, channels);
                for (int i = 0; i < 20; ++i)
                    play(each->process(), tone(2000, channels, 0.5));
            }
        }
        Sleep(200);
        for (const auto& each : shown)
            each->close();
    });
}
