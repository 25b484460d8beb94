// Runs every fuzzer of this folder over a copy of its corpus, 5 seconds each, a minute with --long. A finding
// is a failed case that prints the fuzzer's report and leaves the input beside the program.

#include "support/test_options.h"

#include <doctest/doctest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string text_of(const fs::path& file)
{
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

// The number behind "name: " in the fuzzer's statistics, 0 when it is not there.
long statistic(const std::string& log, const std::string& name)
{
    const size_t at = log.find(name + ": ");
    return at == std::string::npos ? 0 : std::strtol(log.c_str() + at + name.size() + 2, nullptr, 10);
}

struct outcome {
    std::string name;
    int result = -1;
    std::string log;
};

outcome run_fuzzer(const std::string& name)
{
    const fs::path program = fs::path(FUZZ_PROGRAMS) / ("fuzz_" + name);
    const fs::path work = fs::path(FUZZ_PROGRAMS) / "runs" / name;
    fs::remove_all(work);
    fs::create_directories(work);
    // The fuzzer adds what it finds to the folder it works on.
    fs::copy(fs::path(FUZZ_CORPUS) / name, work / "corpus");
    const fs::path log_file = work / "log";
    // What is freed is kept aside for a while, to see late uses: not so much that it counts as a finding
    // itself.
    const std::string command =
        "ASAN_OPTIONS=quarantine_size_mb=32 '" + program.string() +
        "' -max_total_time=" + (test_options::long_run() ? "60" : "5") +
        " -timeout=5 -rss_limit_mb=512 -max_len=8192 -print_final_stats=1 -artifact_prefix='" +
        (work / "finding-").string() + "' '" + (work / "corpus").string() + "' > '" + log_file.string() +
        "' 2>&1";
    const int result = std::system(command.c_str()); // NOLINT(cert-env33-c): of paths of our own, redirected
    return {name, result, text_of(log_file)};
}

} // namespace

TEST_CASE("fuzz: everything that reads bytes from outside")
{
    // Two at a time: each is one thread.
    const std::vector<std::string> names = {"module", "vst_state", "preset",   "wav",
                                            "store",  "settings",  "readLine", "format_reply"};
    std::vector<outcome> outcomes(names.size());
    std::atomic<size_t> next{0};
    const auto work = [&] {
        for (size_t i; (i = next++) < names.size();)
            outcomes[i] = run_fuzzer(names[i]);
    };
    std::thread second(work);
    work();
    second.join();
    for (const outcome& each : outcomes) {
        const long runs = statistic(each.log, "stat::number_of_executed_units");
        std::printf("%s: %ld inputs\n", each.name.c_str(), runs);
        CAPTURE(each.name);
        if (each.result != 0)
            FAIL_CHECK(each.log);
        CHECK(runs > 100);
    }
}
