// Every fault at every step of every conversation: what the user sees, when, and what is left. Each cell of
// the table is played by a player and a worker of its own.

#include "fault_matrix.h"

#include "support/fake_worker.h"
#include "support/temp_folder.h"
#include "support/test_options.h"
#include "win/utf.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <thread>

namespace {

constexpr DWORD player_limit_ms = 60000;
constexpr int early_ms = 2500; // by which a worker comes later than the wait for its connection begins
constexpr int slack_ms = 1000; // about twice what was measured; every limit of the product is as long
constexpr unsigned side_by_side = 6;

struct result {
    std::string seen, left, trouble;
    int seen_ms = -1, over_ms = -1;
};

int milliseconds_since(std::chrono::steady_clock::time_point began)
{
    return static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began)
            .count());
}

Nv::launchParams player_of(const cell& cell, const fake_worker& fake, const temp_folder& temp)
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    Nv::launchParams params;
    params.executable = Nv::folderOf(win::to_utf8(path)) + "player_in_trouble.exe";
    params.arguments = {params.executable, fake.script_path(), fake.event_name("here"),      temp.path(),
                        cell.step,         cell.act,           std::to_string(cell.delay_ms)};
    return params;
}

bool workers_gone(const fake_worker& fake, DWORD limit_ms)
{
    for (const uint32_t id : fake.process_ids()) {
        const win::kernel_handle worker(OpenProcess(SYNCHRONIZE, FALSE, id));
        if (worker && WaitForSingleObject(worker.get(), limit_ms) != WAIT_OBJECT_0)
            return false;
    }
    return true;
}

// The player's rounds: all see the same, and one of them leaves no more than the cell says.
void read_rounds(const std::string& lines, const cell& cell, result& out)
{
    std::istringstream rounds(lines);
    bool clean = false;
    for (std::string line; std::getline(rounds, line);) {
        std::istringstream words(line);
        words >> out.seen_ms >> out.over_ms;
        words.ignore(1);
        std::getline(words, out.left, '\t');
        std::getline(words, out.seen, '\r');
        clean = clean || out.left == cell.left;
        if (std::ranges::find(cell.seen, out.seen) == cell.seen.end())
            return;
    }
    if (clean)
        out.left = cell.left;
}

result play(const cell& cell)
{
    result out;
    fake_worker fake(cell.script);
    const temp_folder temp;
    Nv::workerProcess player(player_of(cell, fake, temp));
    if (cell.kind == player_killed) {
        if (!fake.wait_for("here", 30))
            out.trouble = "the fault did not come";
        Sleep(100);
        const auto began = std::chrono::steady_clock::now();
        player.terminate();
        if (!workers_gone(fake, 5000))
            out.trouble = "the worker goes on";
        out.seen_ms = out.over_ms = milliseconds_since(began);
    } else {
        if (!player.waitForExit(player_limit_ms)) {
            player.terminate();
            out.trouble = "the player hangs";
        } else if (player.exitCode() != 0) {
            out.trouble = "the player ended with " + std::to_string(player.exitCode());
        }
        read_rounds(fake.file("result.txt"), cell, out);
        if (!workers_gone(fake, 0))
            out.trouble += " a worker is left";
    }
    size_t files = 0;
    for (const auto& each : std::filesystem::directory_iterator(win::to_utf16(temp.path())))
        files += each.exists();
    if (files != 0)
        out.left += (out.left.empty() ? "" : " ") + std::to_string(files) + " files";
    return out;
}

// The short form takes every fourth cell, so that each step and each fault comes several times, without those
// that wait for a connection in vain.
bool chosen(const cell& cell, size_t index)
{
    return test_options::long_run() ||
           ((index / fault_count + index % fault_count) % 4 == 0 && cell.after_ms < connect_ms);
}

bool in_time(const cell& cell, const result& got)
{
    return got.seen_ms >= cell.after_ms - (cell.after_ms >= connect_ms ? early_ms : 50) &&
           got.seen_ms <= cell.after_ms + slack_ms && got.over_ms <= cell.after_ms + slack_ms + 1000;
}

} // namespace

TEST_CASE("every fault at every step: what the user sees, when, and what is left")
{
    const std::vector<cell> cells = all_cells();
    std::vector<result> results(cells.size());
    std::atomic<size_t> next{0};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < side_by_side; ++i) {
        threads.emplace_back([&] {
            for (size_t at = next++; at < cells.size(); at = next++) {
                if (!cells[at].seen.empty() && chosen(cells[at], at))
                    results[at] = play(cells[at]);
            }
        });
    }
    for (std::thread& each : threads)
        each.join();
    // What the machine was too busy for is played again by itself, and what left something: the threads'
    // library makes a handle late now and then, a fault leaves it again.
    for (size_t i = 0; i < cells.size(); ++i) {
        if (!cells[i].seen.empty() && chosen(cells[i], i) &&
            (!in_time(cells[i], results[i]) || results[i].left != cells[i].left))
            results[i] = play(cells[i]);
    }

    std::printf("| step | fault | what the user sees | ms | left |\n|---|---|---|---|---|\n");
    for (size_t i = 0; i < cells.size(); ++i) {
        const cell& cell = cells[i];
        CAPTURE(std::string(cell.step));
        CAPTURE(std::string(fault_names[cell.kind]));
        CHECK((cell.seen.empty() == (cell.why_not != nullptr))); // one of both is said of every cell
        if (cell.why_not)
            std::printf("| %s | %s | - %s | | |\n", cell.step, fault_names[cell.kind], cell.why_not);
        if (cell.seen.empty() || !chosen(cell, i))
            continue;
        const result& got = results[i];
        std::printf("| %s | %s | %s | %d | %s |\n", cell.step, fault_names[cell.kind], got.seen.c_str(),
                    got.seen_ms, got.left.empty() ? "nothing" : got.left.c_str());
        CHECK(got.trouble == "");
        CAPTURE(cell.seen[0]);
        CHECK_MESSAGE(std::ranges::find(cell.seen, got.seen) != cell.seen.end(), got.seen);
        CHECK_MESSAGE(in_time(cell, got), got.seen_ms, " ms, ", got.over_ms, " to the end");
        CHECK(got.left == std::string(cell.left));
    }
    std::fflush(stdout);
}
