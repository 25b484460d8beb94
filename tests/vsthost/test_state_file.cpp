// The file that an effect's state is kept in, and somebody else reads.

#include "support/temp_folder.h"
#include "vsthost/editor/state_file.h"
#include "vsthost/exit_codes.h"
#include "win/handle.h"
#include "win/utf.h"

#include <doctest/doctest.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <thread>

using namespace vsthost;

namespace {

using bytes = std::vector<uint8_t>;

bytes filled(size_t size, uint8_t with)
{
    return bytes(size, with);
}

win::file_handle hold(const std::string& path)
{
    return win::file_handle(CreateFileW(win::to_utf16(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
}

ptrdiff_t files_in(const temp_folder& folder)
{
    return std::distance(std::filesystem::directory_iterator(win::to_utf16(folder.path())), {});
}

} // namespace

TEST_CASE("a state file is absent, empty, read whole or refused")
{
    const temp_folder folder;
    CHECK(read_state_file(folder.path("none")).empty());
    folder.write("empty", {});
    CHECK(read_state_file(folder.path("empty")).empty());
    folder.write("full", filled(70000, 3));
    CHECK(read_state_file(folder.path("full")) == filled(70000, 3));
    CHECK_THROWS_AS(read_state_file(folder.path()), fatal_error); // a folder
    win::file_handle alone(CreateFileW(win::to_utf16(folder.path("full")).c_str(), GENERIC_READ, 0, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
    REQUIRE(alone);
    CHECK_THROWS_AS(read_state_file(folder.path("full"), 50), fatal_error);
    std::thread release([&] {
        Sleep(100);
        alone.reset();
    });
    CHECK(read_state_file(folder.path("full"), 5000) == filled(70000, 3));
    release.join();
    CHECK(replace_state_file(folder.path("no\\folder"), filled(1, 1)) != 0);

    // Files and links that somebody put where the new file might go stay as they are.
    folder.write("other", filled(5, 5));
    folder.write("state.new", filled(6, 6));
    const std::string begin = folder.path("qvxVSTHost-" + std::to_string(GetCurrentProcessId()) + "-");
    for (int i = 0; i < 10; ++i)
        REQUIRE(CreateHardLinkW(win::to_utf16(begin + std::to_string(i) + ".new").c_str(),
                                win::to_utf16(folder.path("other")).c_str(), nullptr));
    CHECK(replace_state_file(folder.path("state"), filled(9, 9)) == 0);
    CHECK(read_state_file(folder.path("state")) == filled(9, 9));
    CHECK(read_state_file(folder.path("other")) == filled(5, 5));
    CHECK(read_state_file(folder.path("state.new")) == filled(6, 6));
    CHECK(files_in(folder) == 15);
}

TEST_CASE("the newest state reaches a file that somebody holds, and nothing stays beside it")
{
    const temp_folder folder;
    folder.write("state", filled(10, 1));
    const std::string path = folder.path("state");
    state_writer writer(path, filled(10, 1));
    CHECK(writer.finish(0));

    win::file_handle held = hold(path);
    REQUIRE(held);
    writer.put(filled(10, 2));
    writer.put(filled(10, 3));
    CHECK(!writer.finish(150));
    CHECK(read_state_file(path) == filled(10, 1));
    // It may be there while it is tried again, but not between.
    bool gone = false;
    for (int i = 0; i < 200 && !gone; ++i, Sleep(5))
        gone = files_in(folder) == 1;
    CHECK(gone);
    held.reset();
    CHECK(writer.finish(150));
    CHECK(read_state_file(path) == filled(10, 3));

    held = hold(path); // beyond the time in which it is tried quickly
    writer.put(filled(10, 4));
    CHECK(!writer.finish(700));
    held.reset();
    CHECK(writer.finish(1000));
    CHECK(read_state_file(path) == filled(10, 4));
    CHECK(files_in(folder) == 1);

    DeleteFileW(win::to_utf16(path).c_str());
    writer.put(filled(10, 4)); // what the file had: nothing to write
    CHECK(writer.finish(100));
    CHECK(files_in(folder) == 0);

    held = win::file_handle();
    folder.write("state", filled(10, 4));
    held = hold(path);
    writer.put(filled(10, 5)); // given up when the writer goes
}

TEST_CASE("a reader never sees half a state")
{
    const temp_folder folder;
    const std::string path = folder.path("state");
    folder.write("state", filled(300000, 1));
    state_writer writer(path, filled(300000, 1));
    std::atomic<bool> stop{false};
    std::thread edits([&] {
        for (uint8_t i = 2; !stop; i = static_cast<uint8_t>(i % 200 + 1)) {
            writer.put(filled(300000 + i, i));
            Sleep(3);
        }
    });
    int seen = 0;
    bytes last;
    for (int i = 0; i < 300; ++i) {
        bytes now;
        try {
            now = read_state_file(path);
        } catch (const fatal_error&) {
            continue; // just being replaced
        }
        REQUIRE(now.size() >= 300000);
        CHECK(now == filled(now.size(), now[0]));
        CHECK((now.size() == 300000 || now.size() - 300000 == now[0]));
        seen += now != last;
        last = std::move(now);
        Sleep(1);
    }
    stop = true;
    edits.join();
    CHECK(seen > 20);
    CHECK(writer.finish(2000));
}
