// A worker process by itself: how it is started, how its end is seen, and its close-down.

#include "observe.h"
#include "raw_worker.h"
#include "watched_pipes.h"

#include "support/patched_import.h"
#include "support/system_counts.h"
#include "win/utf.h"
#include "worker/abort.h"
#include "worker/wait.h"
#include "worker/winPipeServerLite.h"

#include <doctest/doctest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace Nv;

namespace {

struct process_fixture {
    process_fixture() { fake_worker::use_for_launches(); }
};

// What the program under test hands to the system, kept by the watching replacements below.
struct {
    std::wstring application, line, folder;
    bool no_attributes, inherits;
    DWORD flags;
    void* environment;
    STARTUPINFOW startup;
    std::vector<DWORD> opened_access;
} seen;
DWORD refused_with = 0; // CreateProcessW fails with this code
decltype(&CreateProcessW) real_create_process = nullptr;

BOOL WINAPI watched_create_process(const wchar_t* application, wchar_t* line, SECURITY_ATTRIBUTES* process,
                                   SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags, void* environment,
                                   const wchar_t* folder, STARTUPINFOW* startup, PROCESS_INFORMATION* started)
{
    seen.application = application ? application : L"none";
    seen.line = line;
    seen.folder = folder ? folder : L"none";
    seen.no_attributes = !process && !thread;
    seen.inherits = inherit != FALSE;
    seen.flags = flags;
    seen.environment = environment;
    seen.startup = *startup;
    if (refused_with != 0) {
        SetLastError(refused_with);
        return FALSE;
    }
    return real_create_process(application, line, process, thread, inherit, flags, environment, folder,
                               startup, started);
}

HANDLE WINAPI refused_create_file(const wchar_t*, DWORD access, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD,
                                  HANDLE)
{
    seen.opened_access.push_back(access);
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

// TerminateProcess only asks; here the end comes a while after the call.
decltype(&TerminateProcess) real_terminate = nullptr;
std::thread terminating;
BOOL WINAPI slow_terminate(HANDLE process, UINT code)
{
    terminating = std::thread([process, code] {
        Sleep(100);
        real_terminate(process, code);
    });
    return TRUE;
}

DWORD WINAPI failed_wait(DWORD, const HANDLE*, BOOL, DWORD)
{
    return WAIT_FAILED;
}

} // namespace

TEST_CASE_FIXTURE(process_fixture, "exit codes pass as they are")
{
    const struct {
        const char* script;
        uint32_t code;
    } rows[] = {
        {"exit 0", 0},
        {"exit 7", 7},
        {"exit 259", 259}, // the code that also means "still running"
        {"exit 0xFFFFFFFF", 0xFFFFFFFF},
        {"crash", 0xC0000005},
    };
    for (const auto& row : rows) {
        CAPTURE(row.script);
        fake_worker fake(row.script);
        const auto worker = start_raw(fake);
        CHECK(worker->waitForExit(10000));
        CHECK(worker->exitCode() == row.code);
        worker->closeAll();
        CHECK(worker->exitCode() == 0xFFFFFFFF); // nothing to ask any more
        CHECK(worker->waitForExit(0));
    }
}

TEST_CASE_FIXTURE(process_fixture, "waiting for the end")
{
    fake_worker fake("signal-event {event:up}\nwait-event {event:end}\nexit 5\n");
    const auto worker = start_raw(fake);
    REQUIRE(fake.wait_for("up"));
    CHECK(worker->exitCode() == STILL_ACTIVE);
    CHECK_FALSE(worker->waitForExit(0));
    CHECK_FALSE(worker->waitForExitSeconds(0));
    CHECK(seconds_of([&] { CHECK_FALSE(worker->waitForExitSeconds(0.1)); }) >= 0.09);
    {
        const patched_import failing("WaitForMultipleObjects", reinterpret_cast<void*>(&failed_wait));
        CHECK_THROWS_WITH_AS(worker->waitForExit(0), "bug check", bug_check);
    }
    aborter stop;
    const abortScope scope(stop);
    stop.signal();
    CHECK_THROWS_WITH_AS(worker->waitForExit(10000), "user abort", user_abort);
    fake.signal("end");
    {
        const abortSuspended meanwhile;
        CHECK(worker->waitForExit(10000));
    }
    CHECK(worker->waitForExit(10000)); // on a tie the process wins
    CHECK(worker->exitCode() == 5);
}

TEST_CASE_FIXTURE(process_fixture, "what the system is asked for")
{
    const patched_import process("CreateProcessW", reinterpret_cast<void*>(&watched_create_process));
    real_create_process = process.original<decltype(real_create_process)>();
    const watched_pipes pipes;
    const auto modes = [&] {
        std::vector<DWORD> all;
        for (const watched_pipes::call& each : pipes.calls) {
            CHECK(each.inheritable);
            all.push_back(each.open_mode);
        }
        return all;
    };
    seen = {};
    fake_worker fake("echo-input\nexit 3\n", "caf\xc3\xa9 \xe2\x82\xac");
    launchParams params = raw_params(fake);
    const std::wstring program = win::to_utf16(params.executable);

    SUBCASE("three pipes, and a conversation on them")
    {
        params.standardInput = params.standardOutput = params.standardError = stdioMode::pipe;
        workerProcess worker(params);
        CHECK(modes() == std::vector<DWORD>{0x40080002, 0x40080001, 0x40080001});
        DWORD flags = HANDLE_FLAG_INHERIT;
        CHECK(GetHandleInformation(worker.standardInput().handle.get(), &flags));
        CHECK((flags & HANDLE_FLAG_INHERIT) == 0);
        worker.standardInput().write("abc", 3);
        char buffer[4] = {};
        worker.standardOutput().readExact(buffer, 3);
        CHECK(std::string(buffer) == "abc");
        worker.standardInput().handle.reset(); // the worker sees its input end
        CHECK(worker.standardOutput().read(buffer, 1) == 0);
        CHECK(worker.waitForExit(10000));
        CHECK(worker.exitCode() == 3);
    }
    SUBCASE("a command line of the caller's, a working folder, no application name")
    {
        params.commandLineOverride =
            "\"" + params.executable + "\" process --vst \"" + fake.script_path() + "\"";
        params.workingFolder = R"(C:\)";
        params.executable.clear();
        workerProcess worker(params);
        CHECK(seen.application == L"none");
        CHECK(seen.line == win::to_utf16(params.commandLineOverride));
        CHECK(seen.folder == LR"(C:\)");
        CHECK(worker.waitForExit(10000));
        CHECK(worker.exitCode() == 3);
    }
}

TEST_CASE_FIXTURE(process_fixture, "failed starts leave nothing open")
{
    fake_worker fake("exit 0\n");
    launchParams all_pipes = raw_params(fake);
    all_pipes.standardInput = all_pipes.standardOutput = all_pipes.standardError = stdioMode::pipe;
    launchParams missing = all_pipes;
    missing.executable = folderOf(missing.executable) + "missing.exe";
    launchParams no_program = all_pipes;
    no_program.executable = fake.script_path();

    watched_pipes pipes;
    const auto fail_in_all_ways = [&] {
        CHECK(failure_of([&] { workerProcess worker(missing); }) == "file not found");
        CHECK(failure_of([&] { workerProcess worker(no_program); }) == "could not start the worker process");
        for (int which = 1; which <= 3; ++which) {
            pipes.refuse(which);
            CHECK(failure_of([&] { workerProcess worker(all_pipes); }) == "pipe creation failure");
        }
        seen.opened_access.clear();
        const patched_import file("CreateFileW", reinterpret_cast<void*>(&refused_create_file));
        CHECK(failure_of([&] { workerProcess worker(all_pipes); }) == "pipe creation failure");
        CHECK(seen.opened_access == std::vector<DWORD>{GENERIC_READ});
    };
    fail_in_all_ways();
    const system_counts before = system_counts::now();
    for (int i = 0; i < 20; ++i)
        fail_in_all_ways();
    before.check_nothing_more();
}

TEST_CASE_FIXTURE(process_fixture, "close-down: two seconds of grace, then the end by force")
{
    SUBCASE("a worker that ignores everything")
    {
        fake_worker fake("hold-file held.bin\nsignal-event {event:up}\nhang\n");
        auto worker = start_raw(fake);
        REQUIRE(fake.wait_for("up"));
        const double seconds = seconds_of([&] { worker.reset(); });
        CHECK(seconds >= 1.95);
        CHECK(seconds < 3.0);
        // It is really gone: what it held is free at once.
        std::string held = fake.script_path();
        held.replace(held.rfind("script.txt"), std::string::npos, "held.bin");
        const win::file_handle free(
            CreateFileW(win::to_utf16(held).c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        CHECK(free);
        CHECK(fake.record().back().starts_with("argument")); // it wrote no end of its own
    }
    SUBCASE("a worker that ends when its standard streams do keeps its own code")
    {
        fake_worker fake("signal-event {event:up}\necho-input\nexit 4\n");
        launchParams params = raw_params(fake);
        params.standardInput = params.standardOutput = stdioMode::pipe;
        auto worker = std::make_shared<workerProcess>(params);
        REQUIRE(fake.wait_for("up"));
        CHECK(seconds_of([&] { worker.reset(); }) < 1.5);
        CHECK(fake.record().back() == "exit 4");
    }
    SUBCASE("ended by force, the exit code is all ones")
    {
        fake_worker fake("signal-event {event:up}\nhang\n");
        const auto worker = start_raw(fake);
        REQUIRE(fake.wait_for("up"));
        const patched_import slow("TerminateProcess", reinterpret_cast<void*>(&slow_terminate));
        real_terminate = slow.original<decltype(real_terminate)>();
        worker->terminate();
        const bool gone = worker->waitForExit(0);
        terminating.join();
        CHECK(gone);
        CHECK(worker->exitCode() == 0xFFFFFFFF);
    }
}

TEST_CASE_FIXTURE(process_fixture, "stopWorker runs to its end although the thread's aborter is signalled")
{
    const struct {
        const char* script;
        double limit;
        uint32_t code;
        double at_least, below;
    } rows[] = {
        // needs 0.3 s to save its work
        {"connect\nsignal-event {event:up}\non-broken-pipe sleep 300\nserve\n", 1.0, 0, 0.25, 0.95},
        {"connect\nsignal-event {event:up}\non-broken-pipe hang\nserve\n", 1.0, 0xFFFFFFFF, 0.95, 2.0},
        {"connect\nsignal-event {event:up}\non-broken-pipe hang\nserve\n", 0.0, 0xFFFFFFFF, 0.0, 0.9},
    };
    for (const auto& row : rows) {
        CAPTURE(row.script);
        fake_worker fake(row.script);
        winPipeServerLite pipe;
        const std::string name = win::to_utf8(pipe.createPipe());
        pipe.worker = start_raw(fake, name);
        const auto worker = pipe.worker;
        pipe.connectWorker(10.0);
        REQUIRE(fake.wait_for("up"));
        aborter stop;
        const abortScope scope(stop);
        stop.signal();
        const double seconds = seconds_of([&] { stopWorker(pipe, row.limit); });
        CHECK(seconds >= row.at_least);
        CHECK(seconds < row.below);
        CHECK_FALSE(pipe.worker);
        CHECK_FALSE(pipe.isOpen());
        CHECK(currentAborter == &stop);
        CHECK(worker.use_count() == 1);
        const abortSuspended meanwhile;
        CHECK(worker->waitForExit(0));
        CHECK(worker->exitCode() == row.code);
    }
    winPipeServerLite idle;
    stopWorker(idle, 1.0); // nothing to stop
}
