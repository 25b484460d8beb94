// Launches with real processes and real pipes: what the worker is told, what of it reaches the console, and
// each way a launch fails.

#include "conversation.h"
#include "pipe_pair.h"

#include "support/fake_worker.h"
#include "support/patched_import.h"
#include "support/system_counts.h"
#include "support/test_host.h"
#include "win/utf.h"
#include "worker/abort.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using namespace Nv;

namespace {

struct launch_fixture {
    test_host host;
    launch_fixture() { fake_worker::use_for_launches(); }

    void launch(winPipeServerLite& pipe, const vstConfig_t& effect)
    {
        startWorker(pipe, effect, modeProcess, processOptions(effect, 1));
    }
};

using steady = std::chrono::steady_clock;

double seconds_since(steady::time_point began)
{
    return std::chrono::duration<double>(steady::now() - began).count();
}

HRESULT WINAPI no_guid(GUID*)
{
    return E_FAIL;
}

// CreateNamedPipeW fails at the Nth call from here.
int pipe_to_refuse = 0;
decltype(&CreateNamedPipeW) real_create_pipe = nullptr;
HANDLE WINAPI refusing_create_pipe(const wchar_t* name, DWORD open_mode, DWORD pipe_mode, DWORD instances,
                                   DWORD out_size, DWORD in_size, DWORD limit, SECURITY_ATTRIBUTES* security)
{
    if (pipe_to_refuse > 0 && --pipe_to_refuse == 0)
        return INVALID_HANDLE_VALUE;
    return real_create_pipe(name, open_mode, pipe_mode, instances, out_size, in_size, limit, security);
}

} // namespace

TEST_CASE_FIXTURE(launch_fixture, "a launch, its conversation and its end")
{
    fake_worker fake("connect\n"
                     "write-stderr \"one\\r\\ntwo\\nthree\"\n"
                     "audio 0.5 441\n"
                     "serve\n",
                     "fake \xc3\xa4\xe2\x82\xac worker"); // a name outside of every code page
    vstConfig_t effect = fake.effect();
    effect.path = test_host::path_scheme + effect.path; // the worker is given the native form
    winPipeServerLite pipe;
    launch(pipe, effect);

    const std::vector<std::string> arguments = fake.arguments();
    REQUIRE(arguments.size() == 18);
    CHECK(arguments[0] == folderOf(componentPath()) + "qvxVSTHost64.exe");
    CHECK(arguments[3] == fake.script_path());
    CHECK(arguments[16] == "--pipe");
    CHECK(arguments[17].starts_with(R"(\\.\pipe\)"));
    CHECK(arguments[17].size() == 9 + 32);
    CHECK(arguments[17].find_first_not_of("0123456789abcdef", 9) == std::string::npos);

    const streamFormat format = {44100, 2, 3, 2, 3};
    CHECK(agree_on(pipe, format) == format);
    const double samples[4] = {1, -1, 0.25, 0};
    send_command(pipe, cmdProcess, samples, sizeof(samples));
    double processed[4] = {};
    pipe.readExact(processed, sizeof(processed));
    CHECK(processed[0] == 0.5);
    CHECK(processed[1] == -0.5);
    CHECK(processed[2] == 0.125);
    CHECK(pipe.readWord() == 441);

    const std::shared_ptr<workerProcess> worker = pipe.worker;
    CHECK(worker->exitCode() == STILL_ACTIVE);
    stopWorker(pipe, 1.0);
    CHECK_FALSE(pipe.worker);
    CHECK_FALSE(pipe.isOpen());
    CHECK(worker->waitForExit(0));
    CHECK(worker->exitCode() == 0);
    CHECK(host.wait_until_detached_done());
    CHECK(host.console_lines() == std::vector<std::string>{"VST: one", "VST: two"});

    const auto commands = fake.commands();
    REQUIRE(commands.size() == 2);
    CHECK(commands[0].code == cmdSetFormat);
    CHECK(commands[1].code == cmdProcess);
    CHECK(commands[1].payload == std::string(reinterpret_cast<const char*>(samples), sizeof(samples)));
    CHECK(fake.record().back() == "exit 0");
}

TEST_CASE_FIXTURE(launch_fixture,
                  "one object for several launches, of both worker programs and without a pipe")
{
    fake_worker first("connect\nserve\n"), second("connect\nserve\n"), third("exit 6\n");
    winPipeServerLite pipe;
    launch(pipe, first.effect("x64"));
    const auto first_worker = pipe.worker;
    launch(pipe, second.effect("ARM64"));
    CHECK(pipe.worker != first_worker);
    CHECK(first_worker->waitForExit(10000)); // its pipe was closed
    CHECK(first_worker->exitCode() == 0);
    CHECK(first.arguments()[0].ends_with("\\fake\\qvxVSTHost64.exe"));
    CHECK(second.arguments()[0].ends_with("\\fake\\qvxVSTHost32.exe"));
    CHECK(first.arguments().back() != second.arguments().back());
    stopWorker(pipe, 1.0);

    pipe.usePipe = false;
    launch(pipe, third.effect());
    CHECK_FALSE(pipe.isOpen());
    CHECK(pipe.worker->waitForExit(10000));
    CHECK(pipe.worker->exitCode() == 6);
    CHECK(std::ranges::count(third.arguments(), "--pipe") == 0);
}

TEST_CASE_FIXTURE(launch_fixture, "launches that fail at once say why and leave nothing behind")
{
    fake_worker fake("signal-event {event:up}\nhang\n");
    const patched_import watch("CreateNamedPipeW", reinterpret_cast<void*>(&refusing_create_pipe));
    real_create_pipe = watch.original<decltype(real_create_pipe)>();
    const std::filesystem::path folder = std::filesystem::path(fake.script_path()).parent_path();
    std::ofstream(folder / "qvxVSTHost64.exe") << "not a program";
    const std::string in_folder = folder.string() + "\\component.dll";

    run_detached([] {}); // the program's first thread of this kind makes things that stay
    REQUIRE(host.wait_until_detached_done());
    const system_counts before = system_counts::now();
    SUBCASE("no worker program")
    {
        for (const std::string& path : {in_folder, std::string(R"(Q:\no\such\folder\component.dll)"),
                                        std::string("component.dll"), std::string()}) {
            CAPTURE(path);
            setComponentPath(path);
            winPipeServerLite pipe;
            CHECK_THROWS_WITH_AS(launch(pipe, fake.effect("x86")), "file not found", file_not_found);
            CHECK_FALSE(pipe.worker);
        }
    }
    SUBCASE("something else under its name")
    {
        setComponentPath(in_folder);
        winPipeServerLite pipe;
        CHECK_THROWS_WITH_AS(launch(pipe, fake.effect("x64")), "could not start the worker process",
                             std::runtime_error);
    }
    SUBCASE("no GUID, no pipe, no pipe for standard error")
    {
        winPipeServerLite pipe;
        {
            const patched_import failing("CoCreateGuid", reinterpret_cast<void*>(&no_guid));
            CHECK_THROWS_WITH_AS(launch(pipe, fake.effect()), "CoCreateGuid failure", std::runtime_error);
        }
        for (const int which : {1, 2}) {
            pipe_to_refuse = which;
            CHECK_THROWS_WITH_AS(launch(pipe, fake.effect()), "pipe creation failure", std::runtime_error);
            CHECK_FALSE(pipe.worker);
        }
    }
    SUBCASE("no thread for the relay")
    {
        host.refuse_detached(true);
        winPipeServerLite pipe;
        CHECK_THROWS_AS(launch(pipe, fake.effect()), exception_win32);
        CHECK_FALSE(pipe.worker);
    }
    SUBCASE("an abort while the worker does not connect")
    {
        winPipeServerLite pipe;
        aborter stop;
        {
            const abortScope scope(stop);
            const before_next_wait aborting([&] { stop.signal(); });
            CHECK_THROWS_WITH_AS(launch(pipe, fake.effect()), "user abort", user_abort);
        }
        CHECK(pipe.worker); // the owner ends it
        stopWorker(pipe, 0);
    }
    CHECK(host.wait_until_detached_done());
    const system_counts after = system_counts::settled(before);
    CHECK(after.children == 0);
    CHECK(after.handles <= before.handles);
    CHECK(after.threads <= before.threads);
}

TEST_CASE_FIXTURE(launch_fixture, "what takes its time, side by side")
{
    fake_worker exits("write-stderr \"module not found\\n\"\nexit 3\n");
    fake_worker silent("signal-event {event:up}\nhang\n");
    fake_worker late("sleep 700\nconnect\nserve\n");
    fake_worker burst("connect\naudio 2 0\non 3 1 background stderr-burst 65536\nserve\n");
    struct result {
        std::string failure;
        double seconds = 0;
        double until_down = 0;
        uint32_t code = 0;
    };
    const auto fail_to_launch = [&](const fake_worker& fake, result& out) {
        winPipeServerLite pipe;
        const auto began = steady::now();
        try {
            launch(pipe, fake.effect());
        } catch (const std::exception& failure) {
            out.failure = failure.what();
        }
        out.seconds = seconds_since(began);
        const auto worker = pipe.worker;
        const auto stopping = steady::now();
        stopWorker(pipe, 1.0);
        out.until_down = seconds_since(stopping);
        out.code = worker->exitCode();
    };

    result of_exits, of_silent;
    std::thread first([&] { fail_to_launch(exits, of_exits); });
    std::thread second([&] { fail_to_launch(silent, of_silent); });
    {
        winPipeServerLite pipe;
        const auto began = steady::now();
        launch(pipe, late.effect());
        CHECK(seconds_since(began) >= 0.65);
        CHECK(agree_on(pipe, {44100, 1, 4, 1, 4}).sampleRate == 44100);
        stopWorker(pipe, 1.0);
    }
    {
        // 64 KiB of lines come at the relay's pace, far slower than the conversation beside them.
        winPipeServerLite pipe;
        launch(pipe, burst.effect());
        agree_on(pipe, {44100, 2, 3, 2, 3});
        const system_counts before = system_counts::now();
        const std::vector<double> samples(2 * 512, 0.25);
        for (int chunk = 0; chunk < 50; ++chunk)
            CHECK(process(pipe, samples)[1023] == 0.5);
        const auto bursts = [&] {
            std::vector<std::string> lines = host.console_lines();
            std::erase_if(lines, [](const std::string& line) { return !line.starts_with("VST: burst "); });
            return lines;
        };
        CHECK(bursts().size() < 1024); // the conversation did not wait for them
        const bool all = host.wait_for_line_count(1024 + 1, 40);
        CHECK(process(pipe, samples)[0] == 0.5);
        CHECK(all);
        const std::vector<std::string> lines = bursts();
        CHECK(lines.size() == 1024);
        bool in_order = true;
        for (size_t i = 0; i < lines.size(); ++i)
            in_order = in_order && std::stoul(lines[i].substr(11)) == i + 1 && lines[i].size() == 5 + 63;
        CHECK(in_order);
        CHECK(system_counts::now().private_bytes < before.private_bytes + (4 << 20));
        stopWorker(pipe, 1.0);
    }
    first.join();
    second.join();

    // Ended before it connected: not noticed earlier than a silent one, but its words are on the console.
    CHECK(of_exits.failure == "timeout");
    CHECK(of_exits.seconds >= 9.9);
    CHECK(of_exits.seconds < 12);
    CHECK(of_exits.until_down < 0.5);
    CHECK(of_exits.code == 3);
    CHECK(std::ranges::count(host.console_lines(), "VST: module not found") == 1);
    CHECK(of_silent.failure == "timeout");
    CHECK(of_silent.seconds >= 9.9);
    CHECK(of_silent.seconds < 12);
    CHECK(of_silent.until_down < 3);
    CHECK(of_silent.code == 0xFFFFFFFF);
}

TEST_CASE_FIXTURE(launch_fixture, "at shut-down the relay lets go, and a worker nobody else holds is ended")
{
    fake_worker fake("connect\nsignal-event {event:up}\non-broken-pipe hang\nserve\n");
    std::weak_ptr<workerProcess> watched;
    {
        winPipeServerLite pipe;
        launch(pipe, fake.effect());
        watched = pipe.worker;
        REQUIRE(fake.wait_for("up"));
    }
    CHECK_FALSE(watched.expired()); // the relay still holds it
    CHECK(host.detached_count() == 1);
    const auto began = steady::now();
    host.app_token.abort();
    CHECK(host.wait_until_detached_done());
    CHECK(watched.expired());
    CHECK(seconds_since(began) >= 1.9);
    CHECK(seconds_since(began) < 3.5);
    CHECK(system_counts::now().children == 0);
}
