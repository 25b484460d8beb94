// Configure runs with the shipped workers and sample effects: the user's edits, and the state coming back.

#include "ui/CDialogConfigureVST.h"

#include "catalogue/settings.h"
#include "dsp/vstAudioListener.h"
#include "support/chunks.h"
#include "support/dialog_host.h"
#include "support/real_editor.h"

#include <doctest/doctest.h>

namespace {

using bytes = std::vector<uint8_t>;

struct real_run {
    explicit real_run(const vstConfig_t& chosen)
        : effect(chosen)
    {
        run.onStateChanged = [this](const vstConfig_t& changed) {
            effect.state = changed.state;
            ++reports;
        };
        run.onFinished = [this] { finished = true; };
    }
    HWND open()
    {
        finished = false;
        run.Start(effect, owner.handle());
        CHECK(player.run_until([&] { return !owned_windows(owner.handle()).empty(); }));
        const auto windows = owned_windows(owner.handle());
        REQUIRE(windows.size() == 1);
        player.run_for(0.3); // what the effect says while it opens
        return windows[0];
    }
    // The state after a key, which must be there half a second later at most; empty when none is reported.
    bytes state_after(HWND window, WPARAM key)
    {
        const int before = reports;
        press(editor_in(window), key);
        return player.run_until([&] { return reports != before; }, 0.5) ? effect.state : bytes();
    }
    void close(HWND window)
    {
        PostMessageW(window, WM_CLOSE, 0, 0);
        CHECK(player.run_until([&] { return finished; }, 5));
    }

    dialog_host player;
    owner_window owner;
    vstConfig_t effect;
    int reports = 0;
    bool finished = false;
    CDialogConfigureVST run;
};

const vstConfig_t effects[] = {
    {shipped_effect("qvxGain.vst3", "x64"), "gain", "x64", 3},
    {shipped_effect("qvxEcho.dll", "x86"), "echo", "x86", 2},
};

} // namespace

TEST_CASE("an edit is in the preset half a second later, and back when the editor opens again")
{
    for (const vstConfig_t& effect : effects) {
        CAPTURE(effect.path);
        use_shipped_workers();
        real_run test(effect);
        HWND window = test.open();
        const bytes lower = test.state_after(window, VK_HOME);
        CHECK_FALSE(lower.empty());
        const bytes next = test.state_after(window, VK_RIGHT);
        CHECK_FALSE(next.empty());
        CHECK(next != lower);
        CHECK(test.state_after(window, VK_HOME) == lower);
        test.close(window);
        CHECK(test.effect.state == lower);

        // A step from where it was left leads where it led before.
        window = test.open();
        CHECK(test.state_after(window, VK_RIGHT) == next);
        // The last edit of all is not lost, though nobody waits for it.
        press(editor_in(window), VK_HOME);
        test.player.run_for(0.05);
        const ULONGLONG began = GetTickCount64();
        test.run.stop();
        CHECK(GetTickCount64() - began < 700);
        CHECK(test.effect.state == lower);
        CHECK_FALSE(IsWindow(window));
    }
}

TEST_CASE("meters move with the sound that a DSP of the effect hears, and stop with it")
{
    use_shipped_workers();
    for (const vstConfig_t& effect :
         {effects[0], vstConfig_t{shipped_effect("qvxGain.dll", "x86"), "gain", "x86", 2}}) {
        CAPTURE(effect.path);
        real_run test(effect);
        const HWND editor = editor_in(test.open());
        const audio_chunk_impl_t chunk = chunk_of(0.9, 4410);
        const auto silent = pixels_of(editor);
        for (int i = 0; i < 5; ++i) {
            CHECK(feedAudioListener(test.effect.path, chunk, 1));
            test.player.run_for(0.1);
        }
        const auto one = pixels_of(editor);
        CHECK(one != silent);
        test.player.run_for(4); // held peaks fall
        const auto quiet = pixels_of(editor);
        test.player.run_for(0.5);
        CHECK(quiet != one);
        CHECK(quiet == pixels_of(editor));
        CHECK_FALSE(feedAudioListener("another", chunk, 1));
        test.run.stop();
        CHECK_FALSE(feedAudioListener(test.effect.path, chunk, 1));

        cfg_feed_live.set(false);
        test.open();
        CHECK_FALSE(feedAudioListener(test.effect.path, chunk, 1));
        test.run.stop();
    }
}
