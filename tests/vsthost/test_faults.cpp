// How a worker ends when its effect, or the player's reading of it, gets stuck or breaks.

#include "vsthost/exit_codes.h"
#include "vsthost/module_cases.h"
#include "win/utf.h"

#include <windows.h>

#include <chrono>

using namespace module_cases;
using vsthost::exit_code;

namespace {

std::string dump_path(const worker& with)
{
    wchar_t folder[MAX_PATH + 1];
    GetTempPathW(MAX_PATH, folder);
    return win::to_utf8(folder) + "qvxVSTHost-" + std::to_string(GetProcessId(with.process_handle())) +
           ".dmp";
}

} // namespace

TEST_CASE("a crash leaves a whole minidump or, when the time is too short, none")
{
    for_some_kinds([](const kind& which) {
        const std::string name = "module_that_crashes_in_open";
        for (const bool has_time : {true, false}) {
            CAPTURE(has_time);
            worker with = probe(which, name, {{"QVX_VSTHOST_MINIDUMP_MS", has_time ? "15000" : "1"}});
            const std::string path = dump_path(with);
            CHECK(with.wait(20000) == access_violation);
            const std::string said = with.errors();
            CAPTURE(said);
            CHECK(said.find("the effect crashed: access violation (0xC0000005) in " + name) == 0);
            if (!has_time) {
                CHECK(GetFileAttributesW(win::to_utf16(path).c_str()) == INVALID_FILE_ATTRIBUTES);
                continue;
            }
            REQUIRE(said.find("a crash dump is in " + path) != std::string::npos);
            const std::vector<uint8_t> dump = read_file(path);
            REQUIRE(dump.size() > 10000);
            CHECK(std::memcmp(dump.data(), "MDMP", 4) == 0);
            DeleteFileW(win::to_utf16(path).c_str());
        }
    });
}

TEST_CASE("of old minidumps the newest ten stay")
{
    wchar_t folder[MAX_PATH + 1];
    GetTempPathW(MAX_PATH, folder);
    const auto dump = [&folder](int i) {
        return folder + (L"qvxVSTHost-old" + std::to_wstring(i) + L".dmp");
    };
    for (int i = 0; i < 11; ++i) {
        const win::file_handle file(
            CreateFileW(dump(i).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        const FILETIME long_ago{static_cast<DWORD>(i), 0x1000000};
        REQUIRE(SetFileTime(file.get(), nullptr, nullptr, &long_ago));
    }
    worker with = probe({"x64", 3}, "module_that_crashes_in_open", {{"QVX_VSTHOST_MINIDUMP_MS", "15000"}});
    const std::string path = dump_path(with);
    CHECK(with.wait(20000) == access_violation);
    CHECK(DeleteFileW(win::to_utf16(path).c_str())); // that of this crash
    int left = 0;
    for (int i = 0; i < 11; ++i)
        left += DeleteFileW(dump(i).c_str()) != FALSE;
    CHECK(left <= 9); // other crashes may have left theirs
}

TEST_CASE("an effect whose end hangs is ended by the deadline")
{
    if (arches().size() < 2)
        return;
    // Side by side: the deadline is five seconds.
    worker stuck[] = {probe({"x64", 3}, "module_that_hangs_in_close"),
                      probe({"x86", 2}, "module_that_hangs_in_close")};
    const auto begin = std::chrono::steady_clock::now();
    for (worker& each : stuck) {
        CHECK(each.wait(15000) == static_cast<uint32_t>(exit_code::exit_stuck));
        CHECK(each.output().find("\"format\"") != std::string::npos); // printed before the end
        CHECK(each.errors().find("keeps the program from ending") != std::string::npos);
    }
    CHECK(std::chrono::steady_clock::now() - begin < std::chrono::seconds(12));
}

TEST_CASE("a worker without memory says so and ends with its code")
{
    for_some_kinds([](const kind& which) {
        for (const char* const taker : {"module_that_takes_the_memory", "module_that_takes_all_memory"}) {
            worker with(module(which, taker));
            REQUIRE(with.set_format(stereo) == stereo);
            CHECK(with.process(ramp(2000), 2).audio == ramp(2000));
            with.send(Nv::cmdDrainTail, nullptr, 0);
            CHECK(with.wait(10000) == static_cast<uint32_t>(exit_code::out_of_memory));
            CHECK(with.errors().find("out of memory\n") != std::string::npos);
        }
    });
}

TEST_CASE("lines that nobody reads hold up neither the sound nor the end")
{
    for_some_kinds([](const kind& which) {
        worker with(module(which, "module_that_passes_through"));
        // A line for each; more than the pipe and the queue hold.
        const std::vector<uint8_t> broken(100, 'x');
        for (int i = 0; i < 3000; ++i)
            with.set_state(broken);
        REQUIRE(with.set_format(stereo) == stereo);
        CHECK(with.process(ramp(2000), 2).audio == ramp(2000));
        with.break_pipe();
        CHECK(with.wait(5000) == 0);
        CHECK(with.errors().find("the effect's state cannot be used") != std::string::npos);
    });
}
