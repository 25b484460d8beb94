// Launches with real processes and real pipes: what the worker is told, what of it reaches the console, and
// each way a launch fails.

#include "support/fake_worker.h"
#include "support/test_host.h"

#include "worker/protocol.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <doctest/doctest.h>

#include <string>
#include <vector>

using namespace Nv;

namespace {

struct launch_fixture {
    test_host host;
    launch_fixture() { fake_worker::use_for_launches(); }
};

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
    startWorker(pipe, effect, modeProcess, processOptions(effect, 1));

    const std::vector<std::string> arguments = fake.arguments();
    REQUIRE(arguments.size() == 18);
    CHECK(arguments[0] == folderOf(componentPath()) + "qvxVSTHost64.exe");
    CHECK(arguments[3] == fake.script_path());
    CHECK(arguments[16] == "--pipe");
    CHECK(arguments[17].starts_with(R"(\\.\pipe\)"));
    CHECK(arguments[17].size() == 9 + 32);
    CHECK(arguments[17].find_first_not_of("0123456789abcdef", 9) == std::string::npos);

    const streamFormat format = {44100, 2, 3, 2, 3};
    const commandHeader formatHeader = {cmdSetFormat, sizeof(format)};
    pipe.write(&formatHeader, sizeof(formatHeader));
    pipe.write(&format, sizeof(format));
    streamFormat reply = {};
    pipe.readExact(&reply, sizeof(reply));
    CHECK(reply == format);

    const double samples[4] = {1, -1, 0.25, 0};
    const commandHeader header = {cmdProcess, sizeof(samples)};
    pipe.write(&header, sizeof(header));
    pipe.write(samples, sizeof(samples));
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
