// Many launches at once, and what is left when the player dies.

#include "conversation.h"
#include "observe.h"
#include "watched_pipes.h"

#include "support/fake_worker.h"
#include "support/system_counts.h"
#include "support/test_host.h"
#include "win/utf.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <doctest/doctest.h>

#include <atomic>
#include <filesystem>
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
