// Launches with real processes and real pipes: what the worker is told, what of it reaches the console, and
// each way a launch fails.

#include "observe.h"
#include "pipe_pair.h"

#include "support/fake_worker.h"
#include "support/system_counts.h"
#include "support/test_host.h"
#include "win/utf.h"
#include "worker/abort.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
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

} // namespace

TEST_CASE_FIXTURE(launch_fixture, "a launch and its end")
{
    fake_worker fake("connect\n"
                     "write-stderr \"one\\r\\ntwo\\nthree\"\n"
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

    const std::shared_ptr<workerProcess> worker = pipe.worker;
    CHECK(worker->exitCode() == STILL_ACTIVE);
    stopWorker(pipe, 1.0);
    CHECK_FALSE(pipe.worker);
    CHECK(worker->waitForExit(0));
    CHECK(worker->exitCode() == 0);
    CHECK(host.wait_until_detached_done());
    CHECK(host.console_lines() == std::vector<std::string>{"VST: one", "VST: two"});
    CHECK(fake.record().back() == "exit 0");
}

TEST_CASE_FIXTURE(launch_fixture, "launches that fail at once say why and leave nothing behind")
{
    fake_worker fake("signal-event {event:up}\nhang\n");
    const std::filesystem::path folder = std::filesystem::path(fake.script_path()).parent_path();
    std::ofstream(folder / "qvxVSTHost64.exe") << "not a program";
    const std::string in_folder = folder.string() + "\\component.dll";
    std::function<void(winPipeServerLite&)> fail;
    SUBCASE("no worker program")
    {
        fail = [&](winPipeServerLite& pipe) {
            for (const std::string& path : {in_folder, std::string(R"(Q:\no\such\folder\component.dll)"),
                                            std::string("component.dll"), std::string()}) {
                CAPTURE(path);
                setComponentPath(path);
                CHECK_THROWS_WITH_AS(launch(pipe, fake.effect("x86")), "file not found", file_not_found);
            }
        };
    }
    SUBCASE("something else under its name")
    {
        setComponentPath(in_folder);
        fail = [&](winPipeServerLite& pipe) {
            CHECK_THROWS_WITH_AS(launch(pipe, fake.effect("x64")), "could not start the worker process",
                                 std::runtime_error);
        };
    }
    SUBCASE("an abort while the worker does not connect")
    {
        fail = [&](winPipeServerLite& pipe) {
            aborter stop;
            {
                const abortScope scope(stop);
                const before_next_wait aborting([&] { stop.signal(); });
                CHECK_THROWS_WITH_AS(launch(pipe, fake.effect()), "user abort", user_abort);
            }
            CHECK(pipe.worker); // the owner ends it
            stopWorker(pipe, 0);
        };
    }
    constexpr size_t rounds = 4;
    system_counts before = {};
    for (size_t round = 0; round <= rounds; ++round) {
        if (round == 1) {
            REQUIRE(host.wait_until_detached_done());
            before = system_counts::now();
        }
        winPipeServerLite pipe;
        fail(pipe);
        CHECK_FALSE(pipe.worker);
    }
    CHECK(host.wait_until_detached_done());
    before.check_nothing_more(rounds - 1); // only what each round leaves behind counts
}
