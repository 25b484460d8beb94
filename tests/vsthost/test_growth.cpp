// Hours of sound through one worker at full speed: its memory and handles stay what they were. The short form
// plays minutes, --long a whole day.

#include "support/system_counts.h"
#include "vsthost/module_cases.h"

#include <windows.h>

using namespace module_cases;

namespace {

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
    CAPTURE(file);
    worker with({arch, effect_path(arch, file), version});
    REQUIRE(open_stream(with, stereo) == stereo);
    play(with, 100); // what is made once
    const HANDLE process = with.process_handle();
    const size_t memory_before = private_bytes_of(process),
                 handles_before = handles_of(GetProcessId(process));
    play(with, seconds);
    const size_t memory = private_bytes_of(process), handles = handles_of(GetProcessId(process));
    CHECK(handles_before > 0);
    CHECK(memory_before > 0);
    CHECK(handles <= handles_before + 2); // the runtime makes some of its own, late
    CHECK(memory <= memory_before + 512 * 1024);
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
