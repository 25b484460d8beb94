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
    player.close_cleanly();
    CHECK(files.read("heard.wav").samples == noise(rate, 2, 2 * rate).samples);
}

TEST_CASE("window: closed while everything runs, or hangs, it ends at once and leaves nothing")
{
    for (const std::string& module : {chain_fixture::effect("qvxEcho.vst3", "x64"),
                                      chain_fixture::module("module_that_hangs_in_process.dll")}) {
        CAPTURE(module);
        chain_fixture files;
        files.write("in.wav", noise(rate, 2, 20 * rate));
        driven_player::store_chain(files, {module, chain_fixture::effect("qvxEcho.vst3", "x64")});
        driven_player player(files, {files.folder.path("in.wav")});
        player.click(ids::play);
        const bool hangs = module.find("hangs") != std::string::npos;
        REQUIRE(player.wait_until([&] { return player.worker_count() == (hangs ? 1u : 2u); }));
        if (hangs)
            CHECK(player.wait_until([&] { return player.text(ids::status).starts_with("Starting VST: "); }));
        else
            REQUIRE(player.hears(1));
        if (!hangs) { // even the menu may be open
            PostMessageW(player.window(), WM_SYSCOMMAND, SC_KEYMENU, 'm');
            CHECK(player.wait_until([&] { return player.other_window() != nullptr; }));
        }
        player.close_cleanly();
    }
}

TEST_CASE("window: an effect that hangs is waited for visibly, and the music goes on when it is switched off")
{
    chain_fixture files;
    const sound input = noise(rate, 2, 2 * rate);
    files.write("in.wav", input);
    driven_player::store_chain(files, {chain_fixture::module("module_that_hangs_in_process.vst3"),
                                       chain_fixture::effect("qvxGain.vst3", "x64")});
    driven_player player(files, {files.folder.path("in.wav"), "--capture", files.folder.path("heard.wav")});
    player.click(ids::play);
    REQUIRE(player.wait_until([&] { return player.text(ids::status).starts_with("Starting VST: module"); }));
    REQUIRE(player.wait_until([&] { return player.worker_count() == 1; }));
    player.press(ids::chain_list, VK_HOME);
    player.press(ids::chain_list, VK_SPACE);
    REQUIRE(player.hears(1));
    REQUIRE(player.wait_until([&] { return player.text(ids::time).starts_with("0:00"); }));
    player.close_cleanly();
    CHECK(files.read("heard.wav").samples == halved(input).samples); // from the first sample on
}
