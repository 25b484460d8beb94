// Editors in real windows: opening, edits, sizes, input.

#include "programs/modules/driven_messages.h"
#include "vsthost/editor_driver.h"

#include <chrono>

using namespace editor_driver;

namespace {

constexpr unsigned soon = 150; // ms, from an edit to the file

unsigned since(std::chrono::steady_clock::time_point begin)
{
    using namespace std::chrono;
    return static_cast<unsigned>(duration_cast<milliseconds>(steady_clock::now() - begin).count());
}

bool has_size(HWND window, int width, int height)
{
    return wait_until(
        [&] {
            const SIZE now = client_size(window);
            return now.cx == width && now.cy == height;
        },
        3000);
}

// How often the file changed in the time, and the longest time that it stayed as it was.
struct changes {
    int count = 0;
    unsigned longest = 0;
};
changes watch_file(const editor& of, unsigned milliseconds)
{
    changes seen;
    std::vector<uint8_t> last = of.file();
    const auto begin = std::chrono::steady_clock::now();
    auto changed = begin;
    while (since(begin) < milliseconds) {
        Sleep(2);
        std::vector<uint8_t> now = of.file();
        if (now == last)
            continue;
        last = std::move(now);
        ++seen.count;
        seen.longest = std::max(seen.longest, since(changed));
        changed = std::chrono::steady_clock::now();
    }
    return seen;
}

} // namespace

TEST_CASE("an editor opens as it asks, its edits reach the file at once, and closing keeps the last one")
{
    owner_window owner;
    for_each_kind([&](const kind& which) {
        editor shown({.which = which,
                      .name = "module_with_an_editor",
                      .options = {"--parent-window", owner.digits(), "--window-title", "A title"}});
        const HWND frame = shown.frame();
        REQUIRE(frame != nullptr);
        wchar_t title[64] = L"";
        GetWindowTextW(frame, title, 64);
        CHECK(std::wstring(title) == L"A title");
        CHECK(GetWindow(frame, GW_OWNER) == owner.handle());
        CHECK(client_size(frame).cx == 320);
        CHECK(client_size(frame).cy == 240);
        CHECK((GetWindowLongPtrW(frame, GWL_STYLE) & WS_THICKFRAME) == 0);
        CHECK(shown.holds(0.5, soon));

        for (const unsigned level : {250u, 750u, 125u}) {
            shown.tell(driven_edit, level);
            CHECK(shown.holds(level / 1000.0, soon));
        }
        shown.tell(driven_resize, 410, 130);
        CHECK(has_size(frame, 410, 130));
        CHECK(shown.says("size=410x130"));

        // An edit of the last moment, and one that is made as the editor goes.
        shown.tell(driven_call_edit_on_close, 375);
        shown.tell(driven_edit, 625);
        PostMessageW(frame, WM_CLOSE, 0, 0);
        CHECK(shown.process().wait() == 0);
        CHECK(shown.holds(0.375, 0));
        CHECK(shown.leftovers().empty());
        CHECK(shown.process().errors().empty());
    });
}

TEST_CASE(
    "sizes: by the user in the editor's steps, at once while opening; without an owner a window of its own")
{
    for_some_kinds([](const kind& which) {
        editor at_once({.which = which, .name = "module_whose_editor_resizes_at_once"});
        REQUIRE(at_once.frame() != nullptr);
        CHECK(has_size(at_once.frame(), 500, 300));
        CHECK(at_once.says("size=500x300"));

        editor shown({.which = which,
                      .name = "module_with_a_resizable_editor",
                      .level = -1,
                      .options = {"--parent-window", "7ffffff0"}}); // gone
        const HWND frame = shown.frame();
        REQUIRE(frame != nullptr);
        CHECK(GetWindow(frame, GW_OWNER) == nullptr);
        wchar_t title[64] = L"";
        GetWindowTextW(frame, title, 64);
        CHECK(std::wstring(title).starts_with(L"module_with_a_resizable"));
        CHECK(shown.holds(1.0, 2000)); // the defaults, from an empty file
        const bool by_user = (GetWindowLongPtrW(frame, GWL_STYLE) & WS_THICKFRAME) != 0;
        CHECK(by_user == (which.version == 3));
        if (!by_user)
            return;
        RECT now{};
        GetWindowRect(frame, &now);
        const SIZE inside = client_size(frame);
        const LONG extra = now.right - now.left - inside.cx;
        SetWindowPos(frame, nullptr, 0, 0, now.right - now.left + 40, now.bottom - now.top + 30,
                     SWP_NOMOVE | SWP_NOZORDER);
        CHECK(shown.says("size=360x270"));
        RECT wanted{100, 100, 100 + extra + 333, 100 + 50};
        SendMessageW(frame, WM_SIZING, WMSZ_BOTTOMRIGHT, reinterpret_cast<LPARAM>(&wanted));
        CHECK(wanted.right - wanted.left == extra + 330);
    });
}

TEST_CASE("the file follows long drags, loops of the editor's own, slow painting and edits without a word")
{
    for_some_kinds([](const kind& which) {
        editor shown({.which = which, .name = "module_with_an_editor"});
        REQUIRE(shown.frame() != nullptr);
        for (const unsigned how : {unsigned{driven_drag}, unsigned{driven_loop}}) {
            CAPTURE(how);
            shown.tell(how, 1500);
            Sleep(200);
            const changes seen = watch_file(shown, 1000);
            CHECK(seen.count >= 8);
            CHECK(seen.longest < soon);
            Sleep(500);
        }
        shown.tell(driven_edit_mutely, 300);
        PostMessageW(shown.inside(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
        PostMessageW(shown.inside(), WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
        CHECK(shown.holds(0.3, 300));
        shown.tell(driven_slow, 60);
        for (const unsigned level : {400u, 500u}) {
            shown.tell(driven_edit, level);
            CHECK(shown.holds(level / 1000.0, 300));
        }
    });
}

TEST_CASE("keys and the wheel reach the editor, whichever window they are sent to")
{
    for_some_kinds([](const kind& which) {
        editor shown({.which = which, .name = "module_with_an_editor"});
        const HWND frame = shown.frame();
        REQUIRE(frame != nullptr);
        CHECK(shown.says("focus"));
        PostMessageW(shown.inside(), WM_CHAR, 'q', 0);
        CHECK(shown.says("char=q"));
        PostMessageW(frame, WM_KEYDOWN, VK_LEFT, 0);
        CHECK(shown.says("key=11"));
        POINT middle{50, 50};
        ClientToScreen(frame, &middle);
        PostMessageW(frame, WM_MOUSEWHEEL, MAKEWPARAM(0, WHEEL_DELTA), MAKELPARAM(middle.x, middle.y));
        CHECK(shown.says("wheel"));
    });
}
