// How editors end, in order and otherwise.

#include "programs/modules/driven_messages.h"
#include "vsthost/editor_driver.h"
#include "vsthost/exit_codes.h"
#include "win/utf.h"

#include <chrono>
#include <thread>

using namespace editor_driver;

TEST_CASE("the end of the pipe keeps the last edit, also while the owner's thread only waits for the process")
{
    for_some_kinds([](const kind& which) {
        player_window owner;
        editor shown({.which = which,
                      .name = "module_with_an_editor",
                      .options = {"--parent-window", digits_of(owner.handle())}});
        REQUIRE(shown.frame() != nullptr);
        shown.tell(driven_edit, 875);
        owner.join_process(shown.process().process_handle());
        const auto begin = std::chrono::steady_clock::now();
        shown.process().break_pipe();
        CHECK(shown.process().wait(3000) == 0);
        CHECK(std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(800));
        CHECK(shown.holds(0.875, 0));
        CHECK(shown.leftovers().empty());
    });
}

TEST_CASE("the last edit is in the file before a log-off takes the process, also while somebody reads it")
{
    for_some_kinds([](const kind& which) {
        editor shown({.which = which, .name = "module_with_an_editor"});
        const HWND frame = shown.frame();
        REQUIRE(frame != nullptr);
        CHECK(shown.holds(0.5, 1000));
        win::file_handle reader(CreateFileW(win::to_utf16(shown.data()).c_str(), GENERIC_READ,
                                            FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
        std::thread reads([&] {
            Sleep(300);
            reader.reset();
        });
        SendMessageW(shown.inside(), WM_APP + driven_edit, 625, 0);
        SendMessageW(frame, WM_ENDSESSION, TRUE, 0);
        TerminateProcess(shown.process().process_handle(), 1);
        reads.join();
        CHECK(shown.holds(0.625, 0));
    });
}

TEST_CASE("an editor ends with its player's window and pipe when the player is killed")
{
    for_some_kinds([](const kind& which) {
        // Another worker's window stands in for the player's.
        editor player({.which = which, .name = "module_with_an_editor"});
        REQUIRE(player.frame() != nullptr);
        editor shown({.which = which,
                      .name = "module_with_an_editor",
                      .live = true,
                      .options = {"--parent-window", digits_of(player.frame())}});
        REQUIRE(shown.frame() != nullptr);
        CHECK(GetWindow(shown.frame(), GW_OWNER) == player.frame());
        shown.tell(driven_edit, 250);
        CHECK(shown.holds(0.25, 500));
        TerminateProcess(player.process().process_handle(), 1);
        shown.process().break_pipe();
        CHECK(shown.process().wait(3000) == 0);
        CHECK(shown.holds(0.25, 0));
        CHECK(shown.leftovers().empty());
    });
}

TEST_CASE("editors that hang, crash or do not open cost their worker at most")
{
    for_some_kinds([](const kind& which) {
        const auto start = [&](const std::string& name) { return editing{.which = which, .name = name}; };
        editor hangs(start("module_with_an_editor"));
        editor hangs_in_open(start("module_that_hangs_in_edit"));
        REQUIRE(hangs.frame() != nullptr);
        hangs.tell(driven_edit, 375);
        CHECK(hangs.holds(0.375, 1000));
        hangs.tell(driven_hang);
        Sleep(100);
        hangs.process().break_pipe();
        hangs_in_open.process().break_pipe();
        for (editor* const each : {&hangs, &hangs_in_open}) {
            CHECK(each->process().wait(5000) == 0);
            CHECK(each->leftovers().empty());
        }

        editor crashes(start("module_with_an_editor"));
        editor crashes_in_open(start("module_that_crashes_in_edit"));
        REQUIRE(crashes.frame() != nullptr);
        crashes.tell(driven_crash);
        for (editor* const each : {&crashes, &crashes_in_open}) {
            CHECK(each->process().wait(10000) == access_violation);
            CHECK(each->process().errors().find("the effect crashed: access violation") == 0);
        }

        editor refuses(start("module_whose_editor_does_not_open"));
        REQUIRE(refuses.frame() != nullptr);
        CHECK(FindWindowExW(FindWindowExW(refuses.frame(), nullptr, L"qvxParameterList", nullptr), nullptr,
                            L"SysListView32", nullptr) != nullptr);
        refuses.close();
        CHECK(refuses.process().errors().find("does not open") != std::string::npos);
    });
}

TEST_CASE(
    "what is not there to be shown or read ends with its code, and a file that cannot be read stays as it is")
{
    const temp_folder folder;
    const auto code = [&](const std::string& module_path, const std::string& data) {
        worker with(arches().front(),
                    {"configure", "--vst", module_path, "--vst-version", "3", "--data", data});
        const uint32_t result = with.wait();
        CHECK(!with.errors().empty());
        return static_cast<vsthost::exit_code>(result);
    };
    const std::string there = module({arches().front(), 3}, "module_with_an_editor").vst;
    CHECK(code(there, folder.path()) == vsthost::exit_code::state_file);
    CHECK(code(there + "x", folder.path("state")) == vsthost::exit_code::module_missing);
}

TEST_CASE("openings and closings leave nothing behind")
{
    player_window owner;
    const std::vector<kind> kinds{{"x64", 3}, {"x86", 2}, {"x64", 2}, {"x86", 3}};
    const int rounds = test_options::long_run() ? 500 : 20;
    for (int i = 0; i < rounds; ++i) {
        kind which = kinds[static_cast<size_t>(i) % kinds.size()];
        if (arches().size() < 2)
            which.arch = arches().front();
        CAPTURE(i);
        editor shown({.which = which,
                      .name = "module_with_an_editor",
                      .options = {"--parent-window", digits_of(owner.handle())}});
        const HWND frame = shown.frame();
        REQUIRE(frame != nullptr);
        shown.tell(driven_edit, static_cast<unsigned>(i));
        if (i % 2 == 0)
            PostMessageW(frame, WM_CLOSE, 0, 0);
        else
            shown.process().break_pipe();
        CHECK(shown.process().wait() == 0);
        CHECK(!IsWindow(frame));
        CHECK(shown.holds(i / 1000.0, 0));
        CHECK(shown.leftovers().empty());
    }
}
