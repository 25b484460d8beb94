// The window as people use it: the shipped program, real workers, effects of both bitnesses.

#include "driven_player.h"
#include "player/window/ids.h"
#include "support/test_options.h"

#include <commctrl.h>
#include <doctest/doctest.h>

using namespace player;

namespace {

constexpr uint32_t rate = 44100;

void check(const driven_player::ending& end)
{
    CHECK(end.exit_code == 0);
    CHECK(end.workers_left == 0);
    CHECK(end.seconds < 2);
}

// Where `heard` leaves the sound that an unchanged chain would have made.
size_t first_frame_of_change(const sound& heard, const sound& expected)
{
    return first_difference(heard.samples, expected.samples) / heard.channels;
}

} // namespace

TEST_CASE("window: what is heard is what the chain makes, also after edits and seeks while it plays")
{
    chain_fixture files;
    const sound input = noise(rate, 2, 6 * rate);
    files.write("in.wav", input);
    driven_player::store_chain(
        files, {chain_fixture::effect("qvxGain.dll", "x86"), chain_fixture::effect("qvxEcho.vst3", "x64")});
    driven_player player(files, {files.folder.path("in.wav"), "--capture", files.folder.path("heard.wav")});
    player.click(ids::play);
    REQUIRE(player.hears(1));
    CHECK(player.text(ids::status).find("44100 Hz, 2 channels") != std::string::npos);
    // The gain is switched off with the keyboard.
    player.press(ids::chain_list, VK_HOME);
    player.press(ids::chain_list, VK_SPACE);
    REQUIRE(player.hears(3));
    player.seek(5);
    REQUIRE(player.hears(5));
    REQUIRE(player.wait_until([&] { return player.text(ids::time).starts_with("0:00"); })); // to its end
    check(player.close());

    const sound heard = files.read("heard.wav");
    const size_t change = first_frame_of_change(heard, echoed(halved(input)));
    CHECK(change >= rate);
    CHECK(change % (rate / 50) == 0); // between two chunks
    CHECK(change < 2 * rate);
    sound mixed = halved(input.part(0, change));
    mixed.append(input.part(change, 6 * rate - change));
    const size_t jump = first_frame_of_change(heard, echoed(mixed));
    CHECK(jump >= 3 * rate);
    CHECK(jump < 4 * rate);
    // Behind the jump the echo begins afresh, and nothing is missing at the end.
    const sound behind = echoed(input.part(5 * rate, rate));
    REQUIRE(heard.frames() == jump + rate);
    CHECK(heard.part(jump, rate).samples == behind.samples);

    // What was there comes back. Menus and preferences that were open hold nothing of the component's back.
    driven_player again(files, {});
    CHECK(SendMessageW(again.control(ids::chain_list), LVM_GETITEMCOUNT, 0, 0) == 2);
    CHECK(again.wait_until([&] { return again.text(ids::time) == "0:00 / 0:06"; }));
    const auto shows_another = [&] { return again.other_window() != nullptr; };
    PostMessageW(again.window(), WM_SYSCOMMAND, SC_KEYMENU, 'm');
    CHECK(again.wait_until(shows_another));
    CHECK(again.wait_until([&] {
        PostMessageW(again.window(), WM_KEYDOWN, VK_ESCAPE, 1);
        return !shows_another();
    }));
    again.click(ids::preferences);
    CHECK(again.wait_until(shows_another));
    check(again.close());
}

TEST_CASE("window: an effect that crashes stops the music with a sentence and three ways to go on")
{
    chain_fixture files;
    files.write("in.wav", noise(rate, 2, 2 * rate));
    driven_player::store_chain(files, {chain_fixture::module("module_that_crashes_in_process.vst3")});
    driven_player player(files, {files.folder.path("in.wav"), "--capture", files.folder.path("heard.wav")});
    CHECK_FALSE(player.is_shown(ids::failure_text));
    player.click(ids::play);
    const auto fails = [&] { return player.is_shown(ids::failure_text); };
    REQUIRE(player.wait_until(fails));
    const std::string sentence = player.text(ids::failure_text);
    CAPTURE(sentence);
    CHECK(sentence.find("module_that_crashes_in_process\" stopped the music: VST worker terminated") !=
          std::string::npos);
    CHECK(player.is_shown(ids::failure_configure));
    player.click(ids::failure_configure);
    REQUIRE(player.wait_until([&] { return player.other_window() != nullptr; }));
    PostMessageW(player.other_window(), WM_CLOSE, 0, 0);
    REQUIRE(player.wait_until([&] { return player.other_window() == nullptr; }));
    // Once more: another worker comes up, and crashes as well.
    const auto console = [&] { return player.text(ids::console_text); };
    const auto workers_seen = [&] {
        size_t count = 0;
        const std::string all = console();
        for (size_t at = all.find("from "); at != std::string::npos; at = all.find("from ", at + 1))
            ++count;
        return count;
    };
    REQUIRE(player.wait_until([&] { return workers_seen() == 1; }));
    player.click(ids::failure_start_again);
    REQUIRE(player.wait_until([&] { return workers_seen() == 2; }));
    REQUIRE(player.wait_until(fails));
    player.click(ids::failure_leave_out);
    REQUIRE(player.hears(1));
    CHECK_FALSE(fails());
    REQUIRE(player.wait_until([&] { return player.text(ids::time).starts_with("0:00"); }));
    check(player.close());
    CHECK(files.read("heard.wav").samples == noise(rate, 2, 2 * rate).samples);
}

TEST_CASE("window: closed while everything runs, or hangs, it ends at once and leaves nothing")
{
    for (const std::string& module : {chain_fixture::effect("qvxEcho.vst3", "x64"),
                                      chain_fixture::module("module_that_hangs_in_process.dll")}) {
        CAPTURE(module);
        chain_fixture files;
        files.write("in.wav", noise(rate, 2, 20 * rate));
        driven_player::store_chain(files, {module, module});
        driven_player player(files, {files.folder.path("in.wav")});
        player.click(ids::play);
        const bool hangs = module.find("hangs") != std::string::npos;
        REQUIRE(player.wait_until([&] { return player.worker_count() == (hangs ? 1u : 2u); }));
        if (hangs)
            CHECK(player.wait_until([&] { return player.text(ids::status).starts_with("Starting VST: "); }));
        else
            REQUIRE(player.hears(1));
        check(player.close());
    }
}
