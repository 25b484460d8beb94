// The window when effects fail: the shipped program with real workers.

#include "driven_player.h"
#include "player/window/ids.h"

#include <doctest/doctest.h>

using namespace player;

namespace {

constexpr uint32_t rate = 44100;

} // namespace

TEST_CASE("window: an effect that crashes stops the music with a sentence and three ways to go on")
{
    chain_fixture files;
    const sound input = noise(rate, 2, 2 * rate);
    files.write("in.wav", input);
    driven_player player(files, {test_module("module_that_crashes_in_process.vst3")}, "heard.wav");
    const auto fails = [&] { return player.is_shown(ids::failure_text); };
    CHECK_FALSE(fails());
    player.play();
    REQUIRE(player.wait_until(fails));
    const std::string sentence = player.text(ids::failure_text);
    CAPTURE(sentence);
    CHECK(sentence.find("module_that_crashes_in_process\" stopped the music: VST worker terminated") !=
          std::string::npos);
    CHECK(player.is_shown(ids::failure_configure));
    player.click(ids::failure_configure);
    player.close_other_window();
    // Once more: another worker comes up, and crashes as well.
    const auto workers_told = [&](size_t wanted) {
        return player.wait_until([&] {
            const std::string all = player.text(ids::console_text);
            size_t count = 0;
            for (size_t at = all.find("from "); at != std::string::npos; at = all.find("from ", at + 1))
                ++count;
            return count == wanted;
        });
    };
    REQUIRE(workers_told(1));
    player.click(ids::failure_start_again);
    REQUIRE(workers_told(2));
    REQUIRE(player.wait_until(fails));
    player.click(ids::failure_leave_out);
    REQUIRE(player.hears(1));
    CHECK_FALSE(fails());
    REQUIRE(player.hears(0));
    player.close();
    CHECK(first_difference(files.read("heard.wav"), input) == no_difference);
}

TEST_CASE("window: closed while everything runs, or hangs, it ends at once and leaves nothing")
{
    for (const bool hangs : {false, true}) {
        CAPTURE(hangs);
        chain_fixture files;
        files.write("in.wav", noise(rate, 2, 20 * rate));
        const std::string echo = shipped_effect("qvxEcho.vst3", "x64");
        driven_player player(files, {hangs ? test_module("module_that_hangs_in_process.dll") : echo, echo});
        player.play();
        REQUIRE(player.wait_until([&] { return player.worker_count() == (hangs ? 1u : 2u); }));
        if (hangs) {
            CHECK(player.wait_until([&] { return player.text(ids::status).starts_with("Starting VST: "); }));
        } else {
            REQUIRE(player.hears(1));
            player.open_menu(); // even that may be open
        }
        player.close();
    }
}

TEST_CASE("window: an effect that hangs is waited for visibly, and the music goes on when it is switched off")
{
    chain_fixture files;
    const sound input = noise(rate, 2, 2 * rate);
    files.write("in.wav", input);
    driven_player player(
        files, {test_module("module_that_hangs_in_process.vst3"), shipped_effect("qvxGain.vst3", "x64")},
        "heard.wav");
    player.play();
    REQUIRE(player.wait_until([&] { return player.text(ids::status).starts_with("Starting VST: module"); }));
    REQUIRE(player.wait_until([&] { return player.worker_count() == 1; }));
    player.press_in_chain(VK_HOME);
    player.press_in_chain(VK_SPACE);
    REQUIRE(player.hears(1));
    REQUIRE(player.hears(0));
    player.close();
    CHECK(first_difference(files.read("heard.wav"), halved(input)) ==
          no_difference); // from the first sample on
}
