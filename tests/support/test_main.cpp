// The entry of every test program. Options beyond doctest's own:
//   --long           run the full figures; without it long_run() is false and tests use their short forms
//   --hang-limit S   seconds that one test case may take (default 60, with --long 7200); a case that takes
//   longer is
//                    named on standard error and the program ends with code 99
// The last line is "N passed, N failed, N skipped"; the exit code is 0 only when nothing failed and something
// ran.

#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include "support/test_options.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stop_token>
#include <thread>

namespace {

bool long_run_wanted = false;

// The running case, null between two, and since when: for the thread that watches it.
std::atomic<const char*> running{nullptr};
std::atomic<std::chrono::steady_clock::time_point> began;

void watch(const std::stop_token& stop, std::chrono::seconds limit)
{
    for (; !stop.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(100)))
        if (running && std::chrono::steady_clock::now() > began.load() + limit) {
            std::fprintf(stderr, "\nHANG: \"%s\" ran longer than %d s\n", running.load(),
                         static_cast<int>(limit.count()));
            std::fflush(stderr);
            std::_Exit(99);
        }
}

unsigned passed = 0, failed = 0, skipped = 0;

struct counting_listener : doctest::IReporter {
    explicit counting_listener(const doctest::ContextOptions&) {}
    void report_query(const doctest::QueryData&) override {}
    void test_run_start() override {}
    void test_run_end(const doctest::TestRunStats&) override {}
    void test_case_start(const doctest::TestCaseData& data) override
    {
        began = std::chrono::steady_clock::now();
        running = data.m_name;
    }
    void test_case_reenter(const doctest::TestCaseData&) override {}
    void test_case_end(const doctest::CurrentTestCaseStats& stats) override
    {
        running = nullptr;
        ++(stats.failure_flags ? failed : passed);
    }
    void test_case_exception(const doctest::TestCaseException&) override {}
    void subcase_start(const doctest::SubcaseSignature&) override {}
    void subcase_end() override {}
    void log_assert(const doctest::AssertData&) override {}
    void log_message(const doctest::MessageData&) override {}
    void test_case_skipped(const doctest::TestCaseData& data) override
    {
        // doctest also calls this for cases that a filter on the command line left out.
        if (data.m_skip)
            ++skipped;
    }
};
DOCTEST_REGISTER_LISTENER("counting", 1, counting_listener);

} // namespace

bool test_options::long_run()
{
    return long_run_wanted;
}

int main(int argc, char** argv)
{
    int limit = 0;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--long") == 0)
            long_run_wanted = true;
        else if (std::strcmp(argv[i], "--hang-limit") == 0 && i + 1 < argc)
            limit = static_cast<int>(std::strtol(argv[i + 1], nullptr, 10));
    }
    if (limit <= 0)
        limit = long_run_wanted ? 7200 : 60;

    // Over before the program ends: a thread that the system ends may hold a lock that the end needs.
    const std::jthread watching(watch, std::chrono::seconds(limit));
    doctest::Context context(argc, argv);
    const int result = context.run();
    if (context.shouldExit()) // a query such as --list-test-cases
        return result;
    std::printf("%u passed, %u failed, %u skipped\n", passed, failed, skipped);
    std::fflush(stdout);
    return result != 0 || failed != 0 || passed + skipped == 0 ? 1 : 0;
}
