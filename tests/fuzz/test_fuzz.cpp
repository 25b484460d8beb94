// Runs every fuzzer of this folder over a copy of its corpus: 2 seconds each, a minute with --long. A finding
// is a failed case that prints the fuzzer's report and leaves the input beside the program.

#include "support/test_options.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

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

void run_fuzzer(const std::string& name)
{
    const fs::path program = fs::path(FUZZ_PROGRAMS) / ("fuzz_" + name);
    const fs::path work = fs::path(FUZZ_PROGRAMS) / "runs" / name;
    fs::remove_all(work);
    fs::create_directories(work);
    // The fuzzer adds what it finds to the folder it works on.
    fs::copy(fs::path(FUZZ_CORPUS) / name, work / "corpus");
    const fs::path log_file = work / "log";
    const std::string command =
        "'" + program.string() + "' -max_total_time=" + (test_options::long_run() ? "60" : "2") +
        " -timeout=5 -rss_limit_mb=512 -max_len=8192 -print_final_stats=1 -artifact_prefix='" +
        (work / "finding-").string() + "' '" + (work / "corpus").string() + "' > '" + log_file.string() +
        "' 2>&1";
    const int result = std::system(command.c_str());
    const std::string log = text_of(log_file);
    if (result != 0)
        FAIL_CHECK(log);
    const long runs = statistic(log, "stat::number_of_executed_units");
    std::printf("%s: %ld inputs\n", name.c_str(), runs);
    CHECK(runs > 1000);
}

} // namespace

TEST_CASE("fuzz: preset bytes")
{
    run_fuzzer("preset");
}

TEST_CASE("fuzz: module images")
{
    run_fuzzer("module");
}

TEST_CASE("fuzz: a worker's format replies")
{
    run_fuzzer("format_reply");
}

TEST_CASE("fuzz: states as the workers read them")
{
    run_fuzzer("vst_state");
}

TEST_CASE("fuzz: lines of a worker's standard error")
{
    run_fuzzer("readLine");
}
