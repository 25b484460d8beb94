// The relay of a worker's standard error: what of it reaches the console, and what ends it.

#include "raw_worker.h"

#include "support/test_host.h"
#include "worker/abort.h"

#include <doctest/doctest.h>

#include <string>
#include <thread>
#include <vector>

using namespace Nv;

namespace {

struct relay_fixture {
    test_host host;
    relay_fixture() { fake_worker::use_for_launches(); }
};

std::shared_ptr<workerProcess> start_with_stderr(const fake_worker& fake)
{
    launchParams params = raw_params(fake);
    params.standardError = stdioMode::pipe;
    return std::make_shared<workerProcess>(params);
}

} // namespace

TEST_CASE_FIXTURE(relay_fixture, "what a worker prints reaches the console line by line")
{
    using namespace std::string_literals;
    using lines = std::vector<std::string>;
    const struct {
        const char* script;
        lines expected;
    } rows[] = {
        {"exit 0", {}},
        {"write-stderr \"x\"", {}}, // a last line without its line feed
        {"write-stderr \"one\\r\\ntwo\\nthree\"", {"VST: one", "VST: two"}},
        {"write-stderr \"\\n\\r\\n\"", {"VST: ", "VST: "}},
        {"write-stderr \"a\\0b\\n\"", {"VST: a\0b"s}},
        {"write-stderr \"\\xff\\xfe caf\\xc3\\n\"", {"VST: \xff\xfe caf\xc3"}},
        {"write-stderr \"sp\"\nwrite-stderr \"lit\\n\"\ncrash", {"VST: split"}},
        {"write-stderr \"before\\n\"\nclose-stderr\nsleep 50\nwrite-stderr \"after\\n\"", {"VST: before"}},
    };
    for (const auto& row : rows) {
        CAPTURE(row.script);
        host.clear_console();
        fake_worker fake(row.script);
        const auto worker = start_with_stderr(fake);
        readStdErr(worker);
        CHECK(host.console_lines() == row.expected);
        CHECK(currentAborter == nullptr);
        CHECK(worker->waitForExit(10000));
    }
}
