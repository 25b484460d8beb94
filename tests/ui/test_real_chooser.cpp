// The chooser with the shipped workers and a sample effect.

#include "dialog_driver.h"
#include "resources/dialog_ids.h"
#include "support/real_editor.h"
#include "ui/CDialogChooseVST.h"
#include "ui/dsp_dialog.h"

#include <doctest/doctest.h>

TEST_CASE(
    "a picked effect's editor opens, its edits are in the preset half a second later, and back next time")
{
    module_player player;
    use_shipped_workers();
    edited target({});
    const auto callback = service_new<edit_callback_v2>(target);
    HWND window = nullptr, editor = nullptr;
    const auto open = [&] {
        service_ptr_t<service_base> dialog;
        dsp_dialog_v3(dialog, nullptr, *callback);
        window = player.modeless->windows.back();
        return dialog;
    };
    const auto editor_opens = [&] {
        REQUIRE(player.pump_until([&] { return !owned_windows(window).empty(); }, 20));
        editor = owned_windows(window).front();
        player.pump_until([] { return false; }, 0.5); // what the effect says while it opens
    };
    const auto edit = [&](WPARAM key) {
        const int before = target.pushes;
        press(editor_in(editor), key);
        CHECK(player.pump_until([&] { return target.pushes != before; }, 0.5));
        return target.state();
    };
    const auto status_shown = [&] { return is_visible(window, IDC_STATUS); };

    auto dialog = open();
    REQUIRE(player.pump_until([&] { return is_enabled(window, IDC_EFFECT); }));
    CHECK(!status_shown());
    choose(window, IDC_EFFECT, 1);
    CHECK(target.config().path == player.vst3);
    CHECK(status_shown());
    editor_opens();
    const std::string lowest = edit(VK_HOME), next = edit(VK_RIGHT);
    CHECK(lowest != next);
    PostMessageW(editor, WM_CLOSE, 0, 0);
    CHECK(player.pump_until([&] { return !status_shown(); }));
    CHECK(target.state() == next);
    dialog.release();

    dialog = open();
    editor_opens();
    CHECK(edit(VK_HOME) == lowest);
    CHECK(edit(VK_RIGHT) == next);
    // The last edit is not lost when the dialog closes at once.
    press(editor_in(editor), VK_HOME);
    player.pump_until([] { return false; }, 0.05);
    SendMessageW(window, WM_COMMAND, IDCANCEL, 0);
    CHECK(target.state() == lowest);
    CHECK(!IsWindow(editor));
    CHECK(target.done == std::vector{true});
}
