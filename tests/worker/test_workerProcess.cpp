// A worker process by itself: how it is started, how its end is seen, its close-down, and what of its
// standard error reaches the console.

#include "observe.h"
#include "raw_worker.h"

#include "support/patched_import.h"
#include "support/test_host.h"
#include "win/utf.h"
#include "worker/abort.h"
#include "worker/wait.h"
#include "worker/winPipeServerLite.h"

#include <doctest/doctest.h>

#include <string>
#include <thread>
#include <vector>

using namespace Nv;

namespace {

struct process_fixture {
    process_fixture() { fake_worker::use_for_launches(); }
};

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

TEST_CASE_FIXTURE(process_fixture, "three pipes and a conversation on them; a command line of the caller's")
{
    fake_worker fake("echo-input\nexit 3\n", "caf\xc3\xa9 \xe2\x82\xac");
    launchParams params = raw_params(fake);
    {
        launchParams talking = params;
        talking.standardInput = talking.standardOutput = talking.standardError = stdioMode::pipe;
        workerProcess worker(talking);
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
    params.workingFolder = R"(C:\)";
    // What the line names is only started when no program is given apart.
    for (const std::string& named : {std::string(R"(C:\none.exe)"), params.executable}) {
        params.commandLineOverride = "\"" + named + "\" process --vst \"" + fake.script_path() + "\"";
        workerProcess worker(params);
        CHECK(worker.waitForExit(10000));
        CHECK(worker.exitCode() == 3);
        params.executable.clear();
    }
}

TEST_CASE_FIXTURE(process_fixture, "what a worker prints reaches the console line by line")
{
    using namespace std::string_literals;
    test_host host;
    using lines = std::vector<std::string>;
    const struct {
        const char* script;
        lines expected;
    } rows[] = {
        {"exit 0", {}},
        {"write-stderr \"x\"", {}}, // a last line without its line feed
        {"write-stderr \"one\\r\\ntwo\\nthree\"", {"VST: one", "VST: two"}},
        {"write-stderr \"\\n\\r\\n\"", {"VST: ", "VST: "}},
        {"write-stderr \"a\\0b\\n\"", {"VST: a\0b"s}},
        {"write-stderr \"\\xff\\xfe caf\\xc3\\n\"", {"VST: \xff\xfe caf\xc3"}},
        {"write-stderr \"sp\"\nwrite-stderr \"lit\\n\"\ncrash", {"VST: split"}},
        {"write-stderr \"before\\n\"\nclose-stderr\nsleep 50\nwrite-stderr \"after\\n\"", {"VST: before"}},
    };
    for (const auto& row : rows) {
        CAPTURE(row.script);
        host.clear_console();
        fake_worker fake(row.script);
        launchParams params = raw_params(fake);
        params.standardError = stdioMode::pipe;
        const auto worker = std::make_shared<workerProcess>(params);
        readStdErr(worker);
        CHECK(host.console_lines() == row.expected);
        CHECK(currentAborter == nullptr);
        CHECK(worker->waitForExit(10000));
    }
}

TEST_CASE_FIXTURE(process_fixture, "close-down: two seconds of grace, then the end by force")
{
    SUBCASE("a worker that ignores everything")
    {
        fake_worker fake("signal-event {event:up}\nhang\n");
        auto worker = start_raw(fake);
        REQUIRE(fake.wait_for("up"));
        const double seconds = seconds_of([&] { worker.reset(); });
        CHECK(seconds >= 1.95);
        CHECK(seconds < 3.0);
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
        CHECK(currentAborter == &stop);
        CHECK(worker.use_count() == 1);
        const abortSuspended meanwhile;
        CHECK_THROWS_AS(pipe.write("a", 1), file_access_error); // closed
        CHECK(worker->waitForExit(0));
        CHECK(worker->exitCode() == row.code);
    }
    winPipeServerLite idle;
    stopWorker(idle, 1.0); // nothing to stop
}
