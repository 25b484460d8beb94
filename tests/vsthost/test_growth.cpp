// Hours of sound through one worker at full speed: its memory and handles stay what they were. The short form
// plays minutes, --long a whole day.

#include "support/system_counts.h"
#include "vsthost/module_cases.h"

#include <windows.h>

#include <psapi.h>

#include <chrono>
#include <cstdio>

using namespace module_cases;

namespace {

struct figures {
    size_t memory; // bytes that are the process's alone
    size_t handles;
};

figures figures_of(const worker& with)
{
    PROCESS_MEMORY_COUNTERS_EX counters{};
    REQUIRE(GetProcessMemoryInfo(with.process_handle(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                                 sizeof counters));
    // Not every system has every figure of another process.
    size_t memory = counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage;
    memory = memory != 0 ? memory : counters.WorkingSetSize;
    return {memory, handles_of(GetProcessId(with.process_handle()))};
}

// Plays and now and then seeks, stops and starts, as a listener does.
void play(worker& with, double seconds)
{
    constexpr size_t frames = 16384;
    const std::vector<double> chunk = ramp(2 * frames);
    const auto chunks = static_cast<size_t>(seconds * 44100 / frames);
    for (size_t i = 0; i < chunks; ++i) {
        if (i % 256 == 255) {
            with.drain();
            with.reset();
            with.set_state({});
            REQUIRE(with.set_format(stereo) == stereo);
        }
        REQUIRE(with.process(chunk, 2).audio.size() == chunk.size());
    }
}

void check_growth(const std::string& arch, const std::string& file, int version, double seconds)
{
    worker with({arch, effect_path(arch, file), version});
    REQUIRE(open_stream(with, stereo) == stereo);
    play(with, 100); // what is made once
    const figures before = figures_of(with);
    const auto begin = std::chrono::steady_clock::now();
    play(with, seconds);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    const figures after = figures_of(with);
    std::printf(
        "%s in a %s worker: %.2f hours of sound in %.1f s (%.0f times as fast), memory %zu -> %zu KiB, "
        "handles %zu -> %zu\n",
        file.c_str(), arch.c_str(), seconds / 3600, took.count(), seconds / took.count(),
        before.memory / 1024, after.memory / 1024, before.handles, after.handles);
    std::fflush(stdout);
    CHECK(before.handles > 0);
    CHECK(before.memory > 0);
    CHECK(after.handles <= before.handles + 2); // the runtime makes some of its own, late
    CHECK(after.memory <= before.memory + 512 * 1024);
}

} // namespace

TEST_CASE("memory and handles of a worker stay flat over hours of sound")
{
    const bool whole = test_options::long_run();
    for (const std::string& arch : arches()) {
        CAPTURE(arch);
        check_growth(arch, "qvxEcho.vst3", 3, whole ? 24 * 3600.0 : 100);
        check_growth(arch, "qvxGain.dll", 2, whole ? 3600.0 : 100);
    }
}
