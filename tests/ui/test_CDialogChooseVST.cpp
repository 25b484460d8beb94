// The real chooser, driven by messages, with scripted workers as editors.

#include "catalogue/settings.h"
#include "dialog_driver.h"
#include "resources/dialog_ids.h"
#include "support/again_and_again.h"
#include "support/fake_worker.h"
#include "support/test_options.h"
#include "ui/CDialogChooseVST.h"
#include "ui/CDialogFolders.h"
#include "ui/CDialogVisSetup.h"
#include "ui/dsp_dialog.h"

#include <doctest/doctest.h>

#include <thread>

namespace {

const std::string editor_text = "A configuration window for your VST effect should appear on screen.";
const std::string searching_text = "Searching for VST effects, please wait...";
// A worker whose editor stays until the run ends, and one that saves a state and is closed by the user.
const char* const stays = "connect\nsignal-event {event:up}\nread 1";
const char* const edits =
    "connect\nsignal-event {event:up}\nwrite-file $--data moved\nwait-event {event:close}";

class edit_callback : public dsp_preset_edit_callback {
public:
    explicit edit_callback(edited& target)
        : target_(target)
    {
    }
    void on_preset_changed(const dsp_preset& preset) override { target_.take(preset); }

private:
    edited& target_;
};

HWND chooser_window()
{
    return FindWindowW(nullptr, L"VST Effect Configuration");
}

// Acts on the chooser once it is ready, from inside the loop of a dialog.
void when_ready(const std::function<bool()>& ready, const std::function<void(HWND)>& act, int tries)
{
    if (ready() || tries == 0)
        return act(chooser_window());
    Sleep(5);
    post_to_main_thread([=] { when_ready(ready, act, tries - 1); });
}

struct chooser_player : module_player {
    chooser_player()
    {
        fake_worker::use_for_launches();
        set_rescan_callback(&CDialogChooseVST::rescan_all);
    }
    ~chooser_player()
    {
        CDialogChooseVST::close_all();
        CDialogFolders::close();
        set_rescan_callback(nullptr);
    }
    service_ptr_t<service_base> open(edited& target, bool wait = true)
    {
        service_ptr_t<service_base> dialog;
        const auto callback = service_new<edit_callback_v2>(target);
        dsp_dialog_v3(dialog, nullptr, *callback);
        window = modeless->windows.back();
        if (wait)
            REQUIRE(run_until([&] { return is_enabled(window, IDC_EFFECT) || status() != searching_text; }));
        return dialog;
    }
    std::string status() const { return is_visible(window, IDC_STATUS) ? ::text_of(window, IDC_STATUS) : ""; }

    HWND window = nullptr; // of the chooser opened last
};

} // namespace

TEST_CASE("chooser dialog: controls, keys and an editor's state")
{
    chooser_player player;
    fake_worker fake(edits);
    edited target(fake.effect());
    auto dialog = player.open(target, false);
    const HWND window = player.window;
    CHECK(IsWindowVisible(window));
    CHECK(layout_faults(window) == std::vector<std::string>());
    CHECK(player.status() == searching_text);
    CHECK(choices(window, IDC_EFFECT).empty());
    CHECK(!is_enabled(window, IDC_EFFECT));
    CHECK(choices(window, IDC_CHANNELS) == chooser_model::channel_choices());
    REQUIRE(player.run_until([&] { return is_enabled(window, IDC_EFFECT); }));
    CHECK(choices(window, IDC_EFFECT) == std::vector<std::string>{"qvxGain (VST v2, 64-bit)",
                                                                  "qvxGain (VST v3, 64-bit)",
                                                                  "Fake (VST v3, 64-bit)"});
    CHECK(chosen(window, IDC_EFFECT) == 2); // not found any more
    CHECK(player.status() == editor_text);
    CHECK(is_enabled(window, IDC_LOAD));
    CHECK(target.pushes <= 1);

    REQUIRE(fake.wait_for("up"));
    CHECK(player.run_until([&] { return target.state() == "moved"; }));
    fake.signal("close");
    CHECK(player.run_until([&] { return player.status().empty(); }));
    CHECK(target.pushes == 1);

    choose(window, IDC_CHANNELS, 10);
    choose(window, IDC_FORMAT, 1);
    choose(window, IDC_FORMAT, 1);
    CHECK(target.pushes == 4);
    CHECK(target.config().outputChannelMask == 0x63F);
    CHECK(target.config().flags == vstFlagFloat64);

    choose(window, IDC_EFFECT, 0); // its worker cannot do anything with it
    CHECK(target.config().vstVersion == 2);
    CHECK(!is_enabled(window, IDC_SAVE));
    CHECK(chosen(window, IDC_CHANNELS) == 0);
    CHECK(chosen(window, IDC_FORMAT) == 0);

    SetFocus(GetDlgItem(window, IDC_EFFECT));
    std::vector<int> order;
    for (int i = 0; i < 5; ++i) {
        order.push_back(GetDlgCtrlID(GetFocus()));
        type_key(window, VK_TAB);
        player.pump();
    }
    CHECK(order == std::vector{IDC_EFFECT, IDC_FOLDERS, IDC_CHANNELS, IDC_FORMAT, IDC_EFFECT});
    SetFocus(GetDlgItem(window, IDC_CHANNELS));
    type_key(window, VK_RETURN);
    player.pump();
    CHECK(IsWindow(window));
    type_key(window, VK_ESCAPE);
    player.pump();
    CHECK(!IsWindow(window));
    CHECK(target.done == std::vector{true});
    dialog.release();
    CHECK(target.done.size() == 1);
}

TEST_CASE("chooser dialog: loading and saving presets")
{
    chooser_player player;
    fake_worker fake(stays);
    edited target(fake.effect());
    const auto dialog = player.open(target);
    const std::string file = player.modules.path("a.vstpreset");
    REQUIRE(fake.wait_for("up"));

    // A file that cannot be read leaves the editor alone; giving up does nothing.
    player.shell->answer = file;
    click(player.window, IDC_LOAD);
    player.shell->answer.reset();
    click(player.window, IDC_LOAD);
    CHECK(player.shell->shown.size() == 3); // picker, box, picker
    CHECK(fake.process_ids().size() == 1);
    CHECK(target.pushes == 0);

    player.modules.write("a.vstpreset", {'n', 'e', 'w'});
    player.shell->answer = file;
    click(player.window, IDC_LOAD);
    CHECK(target.state() == "new");
    CHECK(player.run_until([&] { return fake.process_ids().size() == 2; }));
    CHECK(player.status() == editor_text);
    player.shell->answer = player.modules.path("b.vstpreset");
    click(player.window, IDC_SAVE);
    CHECK(player.shell->shown.back().starts_with("save "));

    // A new list, and the end of the dialog, while the picker is open.
    player.shell->answer = file;
    player.modules.write("a.vstpreset", {'o'});
    player.shell->meanwhile = [&] {
        CDialogChooseVST::rescan_all();
        player.run_until([&] { return is_enabled(player.window, IDC_EFFECT); });
    };
    click(player.window, IDC_LOAD);
    CHECK(target.state() == "o");
    player.modules.write("a.vstpreset", {'p'});
    player.shell->meanwhile = [&] { DestroyWindow(player.window); };
    click(player.window, IDC_LOAD);
    player.shell->meanwhile = nullptr;
    CHECK(target.state() == "o");
    CHECK(!chooser_window());
}

TEST_CASE("chooser dialog: modal")
{
    chooser_player player;
    fake_worker fake(edits);
    fake.signal("close");
    edited target(fake.effect());
    edit_callback callback(target);
    const auto when = [](const std::function<bool()>& ready, const std::function<void(HWND)>& act) {
        post_to_main_thread([=] { when_ready(ready, act, 1000); });
    };

    // The folders dialog keeps its keys beside a modal one.
    HWND folders = nullptr;
    int after_tab = 0;
    when([&] { return target.pushes == 1; },
         [&](HWND window) {
             click(window, IDC_FOLDERS);
             folders = FindWindowW(nullptr, L"VST Folders");
             SetFocus(GetDlgItem(folders, IDC_DEFAULT_LIST));
             when([&] { return GetForegroundWindow() == folders; },
                  [&](HWND) {
                      PostMessageW(GetDlgItem(folders, IDC_DEFAULT_LIST), WM_KEYDOWN, VK_TAB, 1);
                      when([&] { return (after_tab = GetDlgCtrlID(GetFocus())) == IDC_ADD; },
                           [&](HWND chooser) {
                               type_key(folders, VK_ESCAPE);
                               PostMessageW(chooser, WM_CLOSE, 0, 0);
                           });
                  });
         });
    dsp_preset_impl preset = target.preset;
    dsp_dialog_v2(preset, nullptr, callback);
    CHECK(after_tab == IDC_ADD);
    CHECK(!IsWindowVisible(folders));
    CHECK(target.state() == "moved");
    CHECK(!chooser_window());

    // In place: true when something changed.
    for (const int picks : {1, 0}) {
        fake_worker idle(stays);
        preset = edited(idle.effect()).preset;
        const dsp_preset_impl before = preset;
        when([&] { return chooser_window() != nullptr; },
             [&](HWND window) {
                 choose(window, IDC_FORMAT, picks);
                 PostMessageW(window, WM_CLOSE, 0, 0);
             });
        CHECK(dsp_dialog(preset, nullptr) == (picks == 1));
        CHECK((preset == before) == (picks == 0));
    }

    // Elsewhere than on the main thread the player's fault is told.
    std::thread([&] {
        service_ptr_t<service_base> dialog;
        const auto callback_v2 = service_new<edit_callback_v2>(target);
        CHECK_THROWS_WITH_AS(dsp_dialog(preset, nullptr), "core_api::ensure_main_thread",
                             exception_host_bug_check);
        CHECK_THROWS_AS(dsp_dialog_v2(preset, nullptr, callback), exception_host_bug_check);
        CHECK_THROWS_AS(dsp_dialog_v3(dialog, nullptr, *callback_v2), exception_host_bug_check);
    }).join();
}

TEST_CASE("chooser dialog: the player lets go of it whenever it likes")
{
    chooser_player player;
    enum class moment { push, done, at_once, scanning, elsewhere };
    for (const moment now :
         {moment::push, moment::done, moment::at_once, moment::scanning, moment::elsewhere}) {
        CAPTURE(static_cast<int>(now));
        fake_worker fake(stays);
        edited target(fake.effect());
        auto dialog = player.open(target, now != moment::scanning);
        const HWND window = player.window;
        const auto let_go = [&] {
            dialog.release();
            CHECK(!IsWindow(window));
        };
        if (now == moment::push || now == moment::done)
            target.while_told = let_go;
        if (now == moment::push)
            choose(window, IDC_FORMAT, 1);
        else if (now == moment::done)
            SendMessageW(window, WM_COMMAND, IDCANCEL, 0);
        else if (now == moment::elsewhere)
            std::thread([&] { dialog.release(); }).join();
        else
            let_go();
        CHECK(player.run_until([&] { return !IsWindow(window); }));
        CHECK(target.done.size() == (now == moment::done ? 1u : 0u));
        CHECK(player.modeless->windows.empty());
    }
}

TEST_CASE("dialogs: no title bar lies on another one")
{
    chooser_player player;
    edited first({}), second({});
    const auto one = player.open(first), two = player.open(second);
    click(player.window, IDC_FOLDERS);
    CDialogVisSetup::open([](const vstConfig_t&) {});
    const std::vector<HWND> windows = player.modeless->windows;
    CHECK(windows.size() == 4);
    LONG least = 0; // also the first one's is on the screen
    for (const HWND window : windows) {
        RECT place = {};
        GetWindowRect(window, &place);
        CHECK(place.top >= least);
        least = place.top + GetSystemMetrics(SM_CYCAPTION);
    }
    CDialogVisSetup::close_all();
}

TEST_CASE("dialogs: opened again and again they leave nothing behind")
{
    chooser_player player;
    // Without an effect: what runs leave behind is another test's.
    const auto once = [&] {
        edited target({});
        auto dialog = player.open(target);
        click(player.window, IDC_FOLDERS);
        player.pump();
        CDialogFolders::close();
        CDialogVisSetup::open([](const vstConfig_t&) {});
        player.pump();
        CDialogVisSetup::close_all();
        dialog.release();
        player.pump();
    };
    again_and_again("dialogs", 2, nullptr, once);
    const gui_counts before = gui_counts::now();
    again_and_again("dialogs", test_options::long_run() ? 500 : 10, nullptr, once);
    const gui_counts after = gui_counts::now();
    CHECK(after.gdi < before.gdi + 8); // objects of others come and go
    CHECK(after.user < before.user + 8);
}
