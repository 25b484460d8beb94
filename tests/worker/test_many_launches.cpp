// Many launches: one after another with every kind of failure among them, many at once, and what is left when
// the player dies.

#include "conversation.h"
#include "observe.h"
#include "pipe_pair.h"
#include "watched_pipes.h"

#include "support/fake_worker.h"
#include "support/system_counts.h"
#include "support/test_host.h"
#include "support/test_options.h"
#include "win/utf.h"
#include "worker/abort.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <doctest/doctest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace Nv;

namespace {

constexpr streamFormat stereo = {44100, 2, 3, 2, 3};

void launch(winPipeServerLite& pipe, const vstConfig_t& effect)
{
    startWorker(pipe, effect, modeProcess, processOptions(effect, 1));
}

} // namespace

TEST_CASE("launch after launch, a third of them failing: nothing grows")
{
    test_host host;
    const watched_pipes watch;
    fake_worker good("connect\nserve\n");
    fake_worker silent("hang\n");
    fake_worker short_reply("connect\non 3 1 short-reply 7\nserve\n");
    fake_worker crashing("connect\non 1 1 crash\nserve\n");
    fake_worker hanging("connect\non 1 1 hang\non-broken-pipe hang\nserve\n");
    const std::string folder = std::filesystem::path(good.script_path()).parent_path().string();
    std::ofstream(folder + "\\qvxVSTHost64.exe") << "not a program";

    const auto converse = [&](const fake_worker& fake, bool abort_in_process) {
        winPipeServerLite pipe;
        const std::string failure = failure_of([&] {
            launch(pipe, fake.effect());
            agree_on(pipe, stereo);
            aborter stop;
            std::optional<before_next_wait> aborting;
            const abortScope scope(stop);
            if (abort_in_process)
                aborting.emplace([&] { stop.signal(); });
            process(pipe, std::vector<double>(1024, 1.0));
        });
        const auto worker = pipe.worker;
        stopWorker(pipe, abort_in_process ? 0 : 1.0);
        CHECK((!worker || worker->waitForExit(0)));
        return failure;
    };
    const auto fail = [&](int kind) -> std::pair<std::string, std::string> {
        winPipeServerLite pipe;
        switch (kind) {
        case 0:
            setComponentPath(folder + "\\component.dll");
            return {failure_of([&] { launch(pipe, good.effect("x86")); }), "file not found"};
        case 1:
            setComponentPath(folder + "\\component.dll");
            return {failure_of([&] { launch(pipe, good.effect("x64")); }),
                    "could not start the worker process"};
        case 2: {
            aborter stop;
            const abortScope scope(stop);
            const before_next_wait aborting([&] { stop.signal(); });
            const std::string failure = failure_of([&] { launch(pipe, silent.effect()); });
            stopWorker(pipe, 0);
            return {failure, "user abort"};
        }
        case 3:
            return {converse(short_reply, false), "invalid input"};
        case 4:
            return {converse(crashing, false), "invalid input"};
        default:
            return {converse(hanging, true), "user abort"};
        }
    };

    constexpr int kinds = 6;
    const int rounds = test_options::long_run() ? 1000 : 60;
    std::optional<system_counts> before;
    for (int i = 0; i < rounds; ++i) {
        if (i == 3 * kinds) { // every kind was seen once
            REQUIRE(host.wait_until_detached_done());
            before = system_counts::now();
        }
        fake_worker::use_for_launches();
        if (i % 3 != 2) {
            CHECK(converse(good, false) == "none");
            continue;
        }
        CAPTURE(i / 3 % kinds);
        const auto [failure, expected] = fail(i / 3 % kinds);
        CHECK(failure == expected);
    }
    CHECK(host.wait_until_detached_done());
    // After the first count each kind of failure comes at least twice, in the long form fifty times.
    before->check_nothing_more(test_options::long_run() ? 2 : 1);
    CHECK(system_counts::now().private_bytes < before->private_bytes + (2 << 20));
    CHECK(watch.different_names() == watch.calls.size());
    CHECK(watch.calls.size() == static_cast<size_t>(2 * rounds));
}

TEST_CASE("32 launches at once; a worker's relay ends with its worker, whatever its siblings do")
{
    constexpr size_t count = 32;
    test_host host;
    fake_worker::use_for_launches();
    const watched_pipes watch;
    fake_worker brief("connect\nwrite-stderr \"brief\\n\"\nserve 3\nexit 8\n");
    fake_worker staying("connect\nwrite-stderr \"staying\\n\"\naudio -1 0\nserve\n");
    std::vector<winPipeServerLite> pipes(count);
    std::vector<std::string> failures(count);
    std::vector<std::thread> threads;
    std::atomic<bool> go{false};
    for (size_t i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            go.wait(false);
            failures[i] = failure_of([&] {
                const bool stays = i % 2 == 0;
                launch(pipes[i], (stays ? staying : brief).effect());
                if (agree_on(pipes[i], stereo) != stereo)
                    throw std::runtime_error("format");
                for (int chunk = 1; chunk <= 2; ++chunk) {
                    const double sent = static_cast<double>(i) + 0.5;
                    const double got = process(pipes[i], std::vector<double>(512, sent)).back();
                    if (got != (stays ? -sent : sent))
                        throw std::runtime_error("samples");
                }
            });
        });
    }
    go = true;
    go.notify_all();
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string& failure : failures)
        CHECK(failure == "none");
    for (size_t i = 1; i < count; i += 2) {
        CHECK(pipes[i].worker->waitForExit(5000));
        CHECK(pipes[i].worker->exitCode() == 8);
    }
    CHECK(host.wait_until_detached_done(1.0, count / 2));
    CHECK(host.detached_count() == count / 2);
    CHECK(host.wait_for_line_count(count));
    CHECK(watch.different_names() == 2 * count);

    for (winPipeServerLite& pipe : pipes)
        stopWorker(pipe, 2.0);
    CHECK(host.wait_until_detached_done());
    CHECK(system_counts::now().children == 0);
}

TEST_CASE("a player that dies leaves no worker behind")
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring player =
        (std::filesystem::path(path).parent_path() / "player_that_dies.exe").wstring();
    for (const char* script : {
             "connect\nsignal-event {event:up}\nserve\n",
             // its standard error is full, and nobody reads it any more
             "connect\nbackground stderr-burst 100000000\nsignal-event {event:up}\nserve\n",
         }) {
        CAPTURE(script);
        fake_worker fake(script);
        std::wstring line = L"\"" + player + L"\" \"" + win::to_utf16(fake.script_path()) + L"\"";
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION started = {};
        REQUIRE(CreateProcessW(player.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &startup, &started));
        const win::kernel_handle process(started.hProcess), thread(started.hThread);
        const bool up = fake.wait_for("up", 20);
        const std::vector<uint32_t> ids = fake.process_ids();
        win::kernel_handle worker;
        if (up && !ids.empty())
            worker.reset(OpenProcess(SYNCHRONIZE, FALSE, ids[0]));
        CHECK(TerminateProcess(process.get(), 1));
        CHECK(WaitForSingleObject(process.get(), 5000) == WAIT_OBJECT_0);
        REQUIRE(worker);
        CHECK(WaitForSingleObject(worker.get(), 2000) == WAIT_OBJECT_0);
    }
}
