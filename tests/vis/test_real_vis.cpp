// A visualisation with the shipped worker and the effect that draws what it hears.

#include "vis/vis_instance.h"

#include "capture_double.h"
#include "support/real_editor.h"

#include <doctest/doctest.h>

#include <cmath>

TEST_CASE("the picture moves with the music, stands still without it, and its window ends it")
{
    vis_fixture test;
    use_shipped_workers();
    const owner_window main;
    test.player.host.main_window = main.handle();
    new vis_instance({shipped_effect("qvxScope.vst3", "x64"), "scope", "x64", 3});
    new vis_instance({shipped_effect("qvxScope.dll", "x86"), "scope", "x86", 2});
    REQUIRE(test.player.run_until([&] { return owned_windows(main.handle()).size() == 2; }));
    const auto windows = owned_windows(main.handle());
    SetWindowPos(windows[0], HWND_TOP, 20, 150, 0, 0, SWP_NOSIZE | SWP_NOACTIVATE);
    SetWindowPos(windows[1], HWND_TOP, 640, 150, 0, 0, SWP_NOSIZE | SWP_NOACTIVATE);
    for (const HWND window : windows)
        CHECK(title_of(window) == "VST Visualization");

    double phase = 0;
    const auto play = [&] { // for 0.3 seconds, a tone that rises
        for (int i = 0; i < 30; ++i) {
            audio_chunk_impl_t chunk = chunk_of(0, 441);
            for (size_t s = 0; s < 2 * 441; ++s)
                chunk.get_data()[s] = 0.7 * std::sin(phase += 0.00001 * static_cast<double>(s) + 0.02);
            test.deliver(chunk);
            test.player.run_for(0.01);
        }
    };
    const auto picture = [&](HWND window) { return pixels_of(editor_in(window)); };
    test.player.run_for(0.5);
    for (const HWND window : windows) {
        play();
        const auto one = picture(window);
        play();
        CHECK(picture(window) != one);
    }
    test.player.run_for(4); // held peaks fall
    for (const HWND window : windows) {
        const auto one = picture(window);
        test.player.run_for(0.5);
        CHECK(picture(window) == one);
    }
    // One is closed while nothing plays; the other goes on.
    PostMessageW(windows[0], WM_CLOSE, 0, 0);
    CHECK(test.player.run_until([&] { return test.capture->callbacks.size() == 1; }, 3));
    CHECK(owned_windows(main.handle()) == std::vector<HWND>{windows[1]});
    const auto one = picture(windows[1]);
    play();
    CHECK(picture(windows[1]) != one);
    test.player.host.app_token.abort();
    CHECK(test.player.host.wait_until_detached_done(2));
}
