// The list of parameters in its real window.

#include "vsthost/editor_driver.h"
#include "vsthost/vst2/vst2_state.h"
#include "vsthost/vst3/vstpreset.h"

#include <cmath>

#include <commctrl.h>

using namespace editor_driver;

namespace {

struct shown_list {
    explicit shown_list(editor& of)
        : frame(of.frame())
        , pane(FindWindowExW(frame, nullptr, L"qvxParameterList", nullptr))
        , search(FindWindowExW(pane, nullptr, L"Edit", nullptr))
        , list(FindWindowExW(pane, nullptr, WC_LISTVIEWW, nullptr))
    {
    }
    LRESULT count() const { return SendMessageW(list, LVM_GETITEMCOUNT, 0, 0); }
    void look_for(const wchar_t* text) const
    {
        SendMessageW(search, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
    }
    void press(WPARAM key) const { SendMessageW(list, WM_KEYDOWN, key, 0); }
    // Where the bar of the first row is `part` full.
    LPARAM bar(double part) const
    {
        const auto first = SendMessageW(list, LVM_GETCOLUMNWIDTH, 0, 0);
        const auto width = SendMessageW(list, LVM_GETCOLUMNWIDTH, 1, 0);
        const HWND header = FindWindowExW(list, nullptr, WC_HEADERW, nullptr);
        return MAKELPARAM(first + 4 + static_cast<LRESULT>(static_cast<double>(width - 8) * part),
                          client_size(header).cy + 8);
    }
    void type(const wchar_t* text) const
    {
        press(VK_F2);
        const HWND field = FindWindowExW(list, nullptr, L"Edit", nullptr);
        REQUIRE(field != nullptr);
        SendMessageW(field, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
        SendMessageW(field, WM_KEYDOWN, VK_RETURN, 0);
        CHECK(!IsWindow(field));
    }

    HWND frame;
    HWND pane;
    HWND search;
    HWND list;
};

// The plain value of a parameter in the state file.
double value_in(const editor& of, const kind& which, size_t index)
{
    const std::vector<uint8_t> file = of.file();
    const auto preset = vsthost::read_vstpreset(file);
    const auto chunk = vsthost::read_vst2_state(file);
    double value = -1.0;
    const auto content = which.version == 3 ? preset.preset->component : chunk.state->chunk;
    std::memcpy(&value, content.data() + sizeof(uint32_t) + index * sizeof value, sizeof value);
    return value;
}

} // namespace

TEST_CASE("several hundred parameters: searched, dragged, nudged, typed in and put back")
{
    for_some_kinds([](const kind& which) {
        editor shown({.which = which, .name = "module_with_600_parameters", .level = -1});
        const shown_list list(shown);
        REQUIRE(list.list != nullptr);
        CHECK(list.count() == 600);
        const size_t position = which.version == 3 ? 349 : 34; // names of eight characters at most
        list.look_for(which.version == 3 ? L"band 350" : L"BAND 35");
        const LRESULT found = which.version == 3 ? 1 : 11; // "Band 35", "Band 350" to "Band 359"
        CHECK(list.count() == found);
        const auto is = [&](double value) {
            return wait_until([&] { return std::abs(value_in(shown, which, position) - value) < 0.01; }, 500);
        };
        CHECK(is(50.0));
        list.press(VK_RIGHT);
        CHECK(is(51.0));
        list.type(L"12.5");
        CHECK(is(12.5));
        list.type(L"no number");
        list.press(VK_RIGHT);
        CHECK(is(13.5));
        list.press(VK_DELETE);
        CHECK(is(50.0));
        SendMessageW(list.list, WM_LBUTTONDOWN, MK_LBUTTON, list.bar(0.2));
        SendMessageW(list.list, WM_MOUSEMOVE, MK_LBUTTON, list.bar(0.75));
        SendMessageW(list.list, WM_LBUTTONUP, 0, list.bar(0.75));
        CHECK(wait_until([&] { return std::abs(value_in(shown, which, position) - 75.0) < 2.0; }, 1000));
        SendMessageW(list.list, WM_LBUTTONDBLCLK, MK_LBUTTON, list.bar(0.75));
        CHECK(is(50.0));
        list.look_for(L"");
        CHECK(list.count() == 600);
        list.look_for(L"no such");
        CHECK(list.count() == 0);
        list.press(VK_RIGHT);
        shown.close();
        CHECK(is(50.0));
    });
}

TEST_CASE("what the list sets reaches a component behind a controller of its own, and one that wants samples")
{
    for (const std::string& arch : arches())
        for (const std::string name :
             {"module_with_a_separate_controller", "module_whose_edits_need_samples"}) {
            CAPTURE(name);
            editor shown({.which = {arch, 3}, .name = name});
            const shown_list list(shown);
            REQUIRE(list.list != nullptr);
            list.press(VK_LEFT);
            CHECK(shown.holds(0.49, 1000));
        }
}

TEST_CASE("a bar is dragged on while the effect is set up anew with every edit")
{
    for_some_kinds([](const kind& which) {
        editor shown({.which = which, .name = "module_that_is_never_settled"});
        const shown_list list(shown);
        SendMessageW(list.list, WM_LBUTTONDOWN, MK_LBUTTON, list.bar(0.25));
        CHECK(wait_until([&] { return value_in(shown, which, 0) < 0.4; }, 1000));
        CHECK(wait_until(
            [&] { // again, for the screen's own pointer moves it too
                SendMessageW(list.list, WM_MOUSEMOVE, MK_LBUTTON, list.bar(0.75));
                return std::abs(value_in(shown, which, 0) - 0.75) < 0.02;
            },
            1000));
    });
}

TEST_CASE("the list follows what the effect changes itself")
{
    const auto moves = [](const kind& which, const std::string& name) {
        editor shown({.which = which, .name = name});
        const shown_list list(shown);
        REQUIRE(list.list != nullptr);
        const std::vector<uint32_t> before = painted(list.list);
        return wait_until([&] { return pixels_of(list.list) != before; }, 600);
    };
    for_some_kinds(
        [&](const kind& which) { CHECK(moves(which, "module_that_calls_back_from_its_own_thread")); });
    CHECK(!moves({arches().front(), 3}, "module_that_passes_through"));
}
