// The real folders dialog, driven by messages.

#include "catalogue/scanFolders.h"
#include "catalogue/settings.h"
#include "dialog_driver.h"
#include "resources/dialog_ids.h"
#include "ui/CDialogFolders.h"
#include "win/error_text.h"

#include <doctest/doctest.h>

namespace {

int rescans = 0;

struct open_dialog {
    explicit open_dialog(bool picks_several = true)
        : player(picks_several)
    {
        rescans = 0;
        set_rescan_callback([] { ++rescans; });
        cfg_vst_folders.set("C:\\mine\nC:\\yours");
        cfg_vst_folders_disabled.set(getDefaultFolders().at(1).path);
        CDialogFolders::open();
        window = player.modeless->windows.back();
        player.pump();
    }
    ~open_dialog()
    {
        CDialogFolders::close();
        set_rescan_callback(nullptr);
    }

    dialog_player player;
    HWND window;
};

// What the store holds: the user's folders, then "|", then the defaults that are switched off, by number.
std::string stored()
{
    std::string text = cfg_vst_folders.get() + "|";
    std::ranges::replace(text, '\n', ';');
    const auto defaults = getDefaultFolders();
    for (const std::string& path : getDisabledDefaultFolders()) {
        for (size_t i = 0; i < defaults.size(); ++i)
            text += defaults[i].path == path ? std::to_string(i) : "";
    }
    return text;
}

} // namespace

TEST_CASE("folders dialog: what it shows, to a screen reader as well, and in another theme")
{
    open_dialog open;
    const HWND dialog = open.window;
    auto& player = open.player;
    CHECK(text_of(dialog) == "VST Folders");
    CHECK(layout_faults(dialog) == std::vector<std::string>());
    CHECK(player.modeless->windows == std::vector{dialog});
    CHECK(player.look->look->frames == std::vector{dialog});
    std::vector<std::string> defaults;
    for (const vstFolder_t& folder : getDefaultFolders())
        defaults.push_back((defaults.size() == 1 ? "[ ] " : "[x] ") + folder.path);
    CHECK(rows(dialog, IDC_DEFAULT_LIST) == defaults);
    CHECK(rows(dialog, IDC_LIST) == std::vector<std::string>{"C:\\mine", "C:\\yours"});
    CHECK(ListView_GetColumnWidth(GetDlgItem(dialog, IDC_LIST), 0) ==
          ListView_GetColumnWidth(GetDlgItem(dialog, IDC_DEFAULT_LIST), 0));

    const HWND list = GetDlgItem(dialog, IDC_LIST);
    CHECK(text_of(list) == "Additional folders to scan for VST effects");
    const COLORREF light = ListView_GetBkColor(list);
    for (const bool dark : {true, false}) {
        player.look->dark = dark;
        SendMessageW(list, WM_THEMECHANGED, 0, 0);
        CHECK((ListView_GetBkColor(list) == light) == !dark);
        const HDC context = GetDC(list);
        SendMessageW(dialog, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context),
                     reinterpret_cast<LPARAM>(list));
        CHECK((GetTextColor(context) == RGB(240, 240, 240)) == dark);
        ReleaseDC(list, context);
    }
}

TEST_CASE("folders dialog: what each action stores, scans anew and shows")
{
    open_dialog open;
    const HWND dialog = open.window;
    auto& player = open.player;
    auto& shown = player.shell->shown;
    const auto picks = [&](std::vector<std::string> answer) {
        player.picker->answer = std::move(answer);
        click(dialog, IDC_ADD);
    };
    struct step {
        std::function<void()> act;
        const char* stored;
        int rescans;
        bool can_remove;
    };
    const auto tick = [&](bool ticked) { return [=] { set_tick(dialog, IDC_DEFAULT_LIST, 0, ticked); }; };
    const auto select = [&](int list_id, int row) { return [=] { select_row(dialog, list_id, row); }; };
    const char *const both = "C:\\mine;C:\\yours|1", *const three = "C:\\yours;C:\\a;C:\\yours|1";
    const step steps[] = {
        {[] {}, both, 0, false},
        {select(IDC_DEFAULT_LIST, 0), both, 0, false},
        {tick(false), "C:\\mine;C:\\yours|10", 1, false},
        {tick(true), both, 1, false},
        {tick(true), both, 0, false},
        {[&] { SendMessageW(dialog, WM_COMMAND, IDC_REMOVE, 0); }, both, 0, false}, // nothing is selected
        {select(IDC_LIST, 0), both, 0, true},
        {[&] { click(dialog, IDC_REMOVE); }, "C:\\yours|1", 1, false},
        {[&] { picks({}); }, "C:\\yours|1", 0, false}, // gives up
        {[&] {
             picks(std::vector<std::string>{"C:\\a\\", "file://C:/yours"});
         },
         three, 1, false},
        {select(IDC_LIST, 2), three, 0, true},
        {select(IDC_LIST, -1), three, 0, false},
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        CAPTURE(i);
        rescans = 0;
        steps[i].act();
        player.pump();
        CHECK(stored() == steps[i].stored);
        CHECK(rescans == steps[i].rescans);
        CHECK(is_enabled(dialog, IDC_REMOVE) == steps[i].can_remove);
    }
    CHECK(rows(dialog, IDC_LIST) == std::vector<std::string>{"C:\\yours", "C:\\a", "C:\\yours"});
    CHECK(shown == std::vector<std::string>(2, "folders Choose VST Effect Folder"));

    shown.clear();
    double_click_row(dialog, IDC_LIST, 1);
    double_click_row(dialog, IDC_DEFAULT_LIST, 0);
    player.pump();
    CHECK(shown == std::vector<std::string>{"execute C:\\a", "execute " + getDefaultFolders()[0].path});
    CHECK(rescans == 0);
}

TEST_CASE("folders dialog: keys, hiding, its end and the picker of one folder")
{
    open_dialog open(false);
    auto& player = open.player;
    HWND dialog = open.window;
    CHECK(IsWindowVisible(dialog));
    std::vector<int> order;
    SetFocus(GetDlgItem(dialog, IDC_DEFAULT_LIST));
    for (int i = 0; i < 4; ++i) {
        order.push_back(GetDlgCtrlID(GetFocus()));
        type_key(dialog, VK_TAB);
        player.pump();
    }
    CHECK(order == std::vector{IDC_DEFAULT_LIST, IDC_ADD, IDC_LIST, IDC_DEFAULT_LIST});
    type_key(dialog, VK_SPACE); // on the row that has the focus, once there is one
    SetFocus(GetDlgItem(dialog, IDC_LIST));
    select_row(dialog, IDC_LIST, 1);
    type_key(dialog, VK_RETURN);
    player.pump();
    CHECK(player.shell->shown == std::vector<std::string>{"execute C:\\yours"});
    player.shell->meanwhile = [] { throw exception_win32(ERROR_ACCESS_DENIED); };
    type_key(dialog, VK_RETURN);
    player.pump();
    player.shell->meanwhile = nullptr;
    CHECK(player.host.wait_for_line("VST dialog: " + win::error_text(ERROR_ACCESS_DENIED), 0));

    player.shell->answer = "C:\\one";
    click(dialog, IDC_ADD);
    CHECK(player.shell->shown.back() == "folder Choose VST Effect Folder");
    CHECK(stored() == "C:\\mine;C:\\yours;C:\\one|1");

    type_key(dialog, VK_ESCAPE);
    player.pump();
    CHECK(IsWindow(dialog));
    CHECK(!IsWindowVisible(dialog));
    cfg_vst_folders.set(""); // rows are read once
    CDialogFolders::open();
    CHECK(player.modeless->windows == std::vector{dialog});
    CHECK(IsWindowVisible(dialog));
    CHECK(rows(dialog, IDC_LIST).size() == 3);

    // Gone while its picker is open; then a new one.
    player.shell->meanwhile = [&] { DestroyWindow(dialog); };
    click(dialog, IDC_ADD);
    player.shell->meanwhile = nullptr;
    CHECK(player.modeless->windows.empty());
    CHECK(stored() == "|1");
    CDialogFolders::open();
    CHECK(rows(player.modeless->windows.back(), IDC_LIST).empty());
}
