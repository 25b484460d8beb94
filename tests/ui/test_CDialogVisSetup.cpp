// The real setup of a visualisation, driven by messages.

#include "dialog_driver.h"
#include "resources/dialog_ids.h"
#include "ui/CDialogVisSetup.h"

#include <commctrl.h>

#include <doctest/doctest.h>

namespace {

struct vis_player : module_player {
    ~vis_player() { CDialogVisSetup::close_all(); }

    // With its rows there.
    HWND open()
    {
        CDialogVisSetup::open([this](const vstConfig_t& effect) {
            if (!failure.empty())
                throw std::runtime_error(failure);
            started.push_back(effect.path);
        });
        const HWND window = modeless->windows.back();
        REQUIRE(run_until([&] { return rows(window, IDC_LIST).size() == 2; }));
        return window;
    }

    std::vector<std::string> started;
    std::string failure; // of the next start
};

} // namespace

TEST_CASE("visualisation setup: ways to start one, and only one")
{
    vis_player player;
    struct row {
        const char* what;
        std::function<void(HWND)> act;
        size_t started;
        bool stays;
    };
    const row cases[] = {
        {"select", [](HWND window) { select_row(window, IDC_LIST, 1); }, 0, true},
        {"OK without a row", [](HWND window) { SendMessageW(window, WM_COMMAND, IDOK, 0); }, 0, true},
        {"Enter without a row", [](HWND window) { type_key(window, VK_RETURN); }, 0, true},
        {"OK", [](HWND window) { select_row(window, IDC_LIST, 1), click(window, IDOK); }, 1, false},
        {"double click", [](HWND window) { double_click_row(window, IDC_LIST, 1); }, 1, false},
        {"Enter", [](HWND window) { select_row(window, IDC_LIST, 1), type_key(window, VK_RETURN); }, 1,
         false},
        {"Cancel", [](HWND window) { click(window, IDCANCEL); }, 0, false},
        {"Escape", [](HWND window) { type_key(window, VK_ESCAPE); }, 0, false},
    };
    for (const row& one : cases) {
        CAPTURE(one.what);
        player.started.clear();
        const HWND window = player.open();
        CHECK(rows(window, IDC_LIST) == std::vector{player.vst2, player.vst3});
        CHECK(!is_enabled(window, IDOK));
        SetFocus(GetDlgItem(window, IDC_LIST));
        one.act(window);
        player.pump();
        CHECK(player.started == std::vector<std::string>(one.started, player.vst3));
        CHECK((IsWindow(window) != FALSE) == one.stays);
        if (one.stays) {
            CHECK(is_enabled(window, IDOK) == (std::string(one.what) == "select"));
            select_row(window, IDC_LIST, -1);
            CHECK(!is_enabled(window, IDOK));
            DestroyWindow(window);
        }
    }
}

TEST_CASE("visualisation setup: a failed start, several dialogs, the end while it searches")
{
    vis_player player;
    const HWND window = player.open();
    CHECK(text_of(window) == "Visualize with VST");
    CHECK(layout_faults(window) == std::vector<std::string>());
    CHECK(player.look->look->frames == std::vector{window});
    CHECK(player.look->look->themed == std::vector{window});
    const HWND list = GetDlgItem(window, IDC_LIST);
    SetWindowPos(list, nullptr, 0, 0, 300, 20, SWP_NOMOVE | SWP_NOZORDER); // a scroll bar comes
    RECT inside = {};
    GetClientRect(list, &inside);
    CHECK(inside.right < 290);
    CHECK(ListView_GetColumnWidth(list, 0) == inside.right);
    player.failure = "no sound";
    select_row(window, IDC_LIST, 0);
    click(window, IDOK);
    CHECK(player.shell->shown ==
          std::vector<std::string>{"popup Information: Could not start visualisation: no sound"});
    CHECK(IsWindow(window));

    const HWND second = player.open();
    CHECK(second != window);
    CHECK(rows(window, IDC_LIST).size() == 2);
    // Closed from inside the box.
    player.shell->meanwhile = [&] { DestroyWindow(second); };
    select_row(second, IDC_LIST, 0);
    click(second, IDOK);
    player.shell->meanwhile = nullptr;
    player.failure.clear();
    CHECK(IsWindow(window));
    click(window, IDOK);
    CHECK(player.started == std::vector{player.vst2});

    CDialogVisSetup::open([](const vstConfig_t&) {});
    CHECK(rows(player.modeless->windows.back(), IDC_LIST).empty());
    DestroyWindow(player.modeless->windows.back());
    player.run_until([] { return false; }, 0.3); // for a result, if one still came
    CHECK(player.modeless->windows.empty());
}
