// The window as people use it: the shipped program, real workers, effects of both bitnesses.

#include "driven_player.h"
#include "player/services/json_config_store.h"
#include "player/window/ids.h"
#include "support/test_options.h"

#include <commctrl.h>
#include <doctest/doctest.h>

#include <cstdio>

using namespace player;

namespace {

constexpr uint32_t rate = 44100;

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
    player.close_cleanly();

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
    HWND tree = nullptr; // the window is there before what is in it
    REQUIRE(again.wait_until([&] {
        tree = GetDlgItem(again.other_window(), ids::settings_tree);
        return tree && SendMessageW(tree, TVM_GETCOUNT, 0, 0) >= 4;
    }));
    for (const int key : {VK_HOME, VK_DOWN, VK_DOWN, VK_DOWN, VK_SPACE}) // the last of the component's three
        PostMessageW(tree, WM_KEYDOWN, static_cast<WPARAM>(key), 1);
    const auto tail_is_on = [&] {
        const auto store = service_new<json_config_store>(files.folder.path("config.json"));
        return store->get_bool("advconfig.unnamed.17F04BF0-5745-462F-929C-E7F230F51F5A", false);
    };
    CHECK(again.wait_until(tail_is_on));
    again.close_cleanly();
}

TEST_CASE("window: what is moved in an effect's editor is heard at once, and closing takes the editor along")
{
    chain_fixture files;
    const sound input = noise(rate, 2, 20 * rate);
    files.write("in.wav", input);
    driven_player::store_chain(files, {chain_fixture::effect("qvxGain.vst3", "x64")});
    driven_player player(files, {files.folder.path("in.wav"), "--capture", files.folder.path("heard.wav")});
    player.click(ids::play);
    REQUIRE(player.hears(1));
    player.press(ids::chain_list, VK_HOME);
    REQUIRE(player.wait_until([&] { return IsWindowEnabled(player.control(ids::chain_configure)) != 0; }));
    player.click(ids::chain_configure);
    HWND editor = nullptr; // in its worker
    REQUIRE(player.wait_until([&] { return (editor = FindWindowW(nullptr, L"qvxGain")) != nullptr; }));
    // To the end of its range, with the keyboard.
    REQUIRE(player.wait_until([&] { return GetWindow(editor, GW_CHILD) != nullptr; }));
    for (HWND inside = GetWindow(editor, GW_CHILD); inside; inside = GetWindow(inside, GW_CHILD))
        PostMessageW(inside, WM_KEYDOWN, VK_END, 1);
    Sleep(2000); // half a second for the edit, what is on its way to be heard, and some of it
    player.close_cleanly();

    const sound heard = files.read("heard.wav");
    const size_t change = first_frame_of_change(heard, halved(input));
    CHECK(change >= rate);
    REQUIRE(change < heard.frames());
    size_t different = 0;
    for (size_t i = change * 2; i < heard.samples.size(); ++i)
        different += heard.samples[i] != 2 * input.samples[i];
    CHECK(different == 0);
    // The chain that was stored has it too.
    {
        driven_player again(files, {"--capture", files.folder.path("again.wav")});
        REQUIRE(again.wait_until([&] { return IsWindowEnabled(again.control(ids::play)) != 0; }));
        again.click(ids::play);
        REQUIRE(again.hears(1));
        again.close_cleanly();
    }
    const sound later = files.read("again.wav");
    CHECK(later.samples.at(1000) == 2 * input.samples.at(1000));
}

TEST_CASE(
    "window: it plays at real time and is used meanwhile, without a gap and without growth (long: an hour)")
{
    const bool is_long = test_options::long_run();
    const uint32_t seconds = is_long ? 20 : 3;
    const int rounds = is_long ? 180 : 2;
    chain_fixture files;
    files.write("in.wav", noise(rate, 2, seconds * rate));
    driven_player::store_chain(
        files, {chain_fixture::effect("qvxGain.vst3", "x64"), chain_fixture::effect("qvxEcho.dll", "x64")});
    driven_player player(files, {files.folder.path("in.wav")});
    player.press(ids::chain_list, VK_HOME);
    size_t handles = 0, bytes = 0;
    for (int round = 0; round < rounds; ++round) {
        CAPTURE(round);
        REQUIRE(player.wait_until([&] { return IsWindowEnabled(player.control(ids::play)) != 0; }));
        player.click(ids::play);
        REQUIRE(player.hears(1));
        // The menu, the preferences and the window's frame, one after the other, and now and then a dialog.
        const auto shows_another = [&] { return player.other_window() != nullptr; };
        PostMessageW(player.window(), WM_SYSCOMMAND, SC_KEYMENU, 'm');
        CHECK(player.wait_until(shows_another));
        CHECK(player.wait_until([&] {
            PostMessageW(player.window(), WM_KEYDOWN, VK_ESCAPE, 1);
            return !shows_another();
        }));
        for (const int id : {static_cast<int>(ids::preferences), static_cast<int>(ids::chain_configure)}) {
            if (id == ids::chain_configure && (!is_long || round % 5 != 0))
                continue;
            player.click(id);
            CHECK(player.wait_until(shows_another));
            PostMessageW(player.other_window(), WM_CLOSE, 0, 0);
            CHECK(player.wait_until([&] { return !shows_another(); }));
        }
        SetWindowPos(player.window(), nullptr, 20 + round % 7 * 10, 20, 700 + round % 5 * 20, 560,
                     SWP_NOZORDER | SWP_NOACTIVATE);
        REQUIRE(player.wait_until([&] { return player.text(ids::time).starts_with("0:00"); }));
        const std::string status = player.text(ids::status);
        CAPTURE(status);
        if (is_long)
            CHECK(status.find("gap") ==
                  std::string::npos); // short forms run on machines that do other things
        if (round == rounds / 10) {
            handles = player.handle_count();
            bytes = player.private_bytes();
        }
    }
    std::printf("%d rounds of %u s: handles %zu -> %zu, memory %zu -> %zu KiB\n", rounds, seconds, handles,
                player.handle_count(), bytes / 1024, player.private_bytes() / 1024);
    CHECK(player.handle_count() <= handles + 10);
    CHECK(player.private_bytes() <= bytes + (4 << 20));
    player.close_cleanly();
}
