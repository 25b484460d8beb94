// The window as people use it: the shipped program, real workers, effects of both bitnesses.

#include "driven_player.h"
#include "player/services/json_config_store.h"
#include "player/window/ids.h"
#include "support/system_counts.h"
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
    return first_difference(heard, expected) / heard.channels;
}

} // namespace

TEST_CASE("window: what is heard is what the chain makes, also after edits and seeks while it plays")
{
    chain_fixture files;
    const sound input = noise(rate, 2, 6 * rate);
    files.write("in.wav", input);
    driven_player player(files, {shipped_effect("qvxGain.dll", "x86"), shipped_effect("qvxEcho.vst3", "x64")},
                         "heard.wav");
    player.play();
    REQUIRE(player.hears(1));
    CHECK(player.text(ids::status).find("44100 Hz, 2 channels") != std::string::npos);
    // The gain is switched off with the keyboard.
    player.press_in_chain(VK_HOME);
    player.press_in_chain(VK_SPACE);
    REQUIRE(player.hears(3));
    player.seek(5);
    REQUIRE(player.hears(5));
    REQUIRE(player.hears(0));
    player.close();

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
    REQUIRE(heard.frames() == jump + rate);
    CHECK(heard.part(jump, rate).samples == echoed(input.part(5 * rate, rate)).samples);

    // What was there comes back. Menus and preferences that were open hold nothing of the component's back.
    driven_player again(files, {});
    CHECK(SendMessageW(again.control(ids::chain_list), LVM_GETITEMCOUNT, 0, 0) == 2);
    CHECK(again.wait_until([&] { return again.text(ids::time) == "0:00 / 0:06"; }));
    again.open_and_close_menu();
    again.click(ids::preferences);
    HWND tree = nullptr; // the window is there before what is in it
    REQUIRE(again.wait_until([&] {
        tree = GetDlgItem(again.other_window(), ids::settings_tree);
        return tree && SendMessageW(tree, TVM_GETCOUNT, 0, 0) >= 4;
    }));
    for (const int key : {VK_HOME, VK_DOWN, VK_DOWN, VK_DOWN, VK_SPACE}) // the last of the component's three
        PostMessageW(tree, WM_KEYDOWN, static_cast<WPARAM>(key), 1);
    CHECK(again.wait_until([&] {
        Sleep(500); // who reads a file all the time keeps its writer from replacing it
        const auto store = service_new<json_config_store>(files.folder.path("config.json"));
        return store->get_bool("advconfig.unnamed.17F04BF0-5745-462F-929C-E7F230F51F5A", false);
    }));
    again.close();
}

TEST_CASE("window: what is moved in an effect's editor is heard at once, and closing takes the editor along")
{
    chain_fixture files;
    const sound input = noise(rate, 2, 20 * rate);
    files.write("in.wav", input);
    driven_player player(files, {shipped_effect("qvxGain.vst3", "x64")}, "heard.wav");
    player.play();
    REQUIRE(player.hears(1));
    player.press_in_chain(VK_HOME);
    REQUIRE(player.wait_until([&] { return IsWindowEnabled(player.control(ids::chain_configure)) != 0; }));
    player.click(ids::chain_configure);
    HWND editor = nullptr; // in its worker
    REQUIRE(player.wait_until([&] {
        editor = FindWindowW(nullptr, L"qvxGain");
        return editor && GetWindow(editor, GW_CHILD);
    }));
    // To the end of its range, with the keyboard.
    for (HWND inside = GetWindow(editor, GW_CHILD); inside; inside = GetWindow(inside, GW_CHILD))
        PostMessageW(inside, WM_KEYDOWN, VK_END, 1);
    Sleep(2000); // half a second for the edit, what is on its way to be heard, and some of it
    player.close();

    const sound heard = files.read("heard.wav");
    const size_t change = first_frame_of_change(heard, halved(input));
    CHECK(change >= rate);
    REQUIRE(change < heard.frames());
    sound doubled = input;
    for (float& sample : doubled.samples)
        sample *= 2;
    const size_t rest = heard.frames() - change;
    CHECK(heard.part(change, rest).samples == doubled.part(change, rest).samples);
    // The chain that was stored has it too.
    {
        driven_player again(files, {}, "again.wav");
        again.play();
        REQUIRE(again.hears(1));
        again.close();
    }
    CHECK(files.read("again.wav").samples.at(1000) == 2 * input.samples.at(1000));
}

TEST_CASE(
    "window: it plays at real time and is used meanwhile, without a gap and without growth (long: an hour)")
{
    const bool is_long = test_options::long_run();
    const uint32_t seconds = is_long ? 20 : 3;
    const int rounds = is_long ? 180 : 2;
    chain_fixture files;
    files.write("in.wav", noise(rate, 2, seconds * rate));
    driven_player player(files,
                         {shipped_effect("qvxGain.vst3", "x64"), shipped_effect("qvxEcho.dll", "x64")});
    player.press_in_chain(VK_HOME);
    size_t handles = 0, bytes = 0;
    for (int round = 0; round < rounds; ++round) {
        CAPTURE(round);
        player.play();
        REQUIRE(player.hears(1));
        // The menu, the preferences and the window's frame, one after the other, and now and then a dialog.
        player.open_and_close_menu();
        player.click(ids::preferences);
        player.close_other_window();
        if (is_long && round % 5 == 0) {
            player.click(ids::chain_configure);
            player.close_other_window();
        }
        SetWindowPos(player.window(), nullptr, 20 + round % 7 * 10, 20, 700 + round % 5 * 20, 560,
                     SWP_NOZORDER | SWP_NOACTIVATE);
        REQUIRE(player.hears(0));
        const std::string status = player.text(ids::status);
        CAPTURE(status);
        if (is_long) // short forms run on machines that do other things
            CHECK(status.find("gap") == std::string::npos);
        if (round == rounds / 10) {
            handles = handles_of(player.id());
            bytes = player.private_bytes();
        }
    }
    std::printf("%d rounds of %u s: handles %zu -> %zu, memory %zu -> %zu KiB\n", rounds, seconds, handles,
                handles_of(player.id()), bytes / 1024, player.private_bytes() / 1024);
    CHECK(handles_of(player.id()) <= handles + 10);
    CHECK(player.private_bytes() <= bytes + (4 << 20));
    player.close();
}
