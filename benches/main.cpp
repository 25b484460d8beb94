// bench.exe [--rounds N] [--seconds S] [--candidates N] [--growth yes] [--only TEXT]: measures and prints one
// JSON object a figure and line.

#define DOCTEST_CONFIG_IMPLEMENT
#include "benches/figures.h"

#include <doctest/doctest.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

template <typename Value>
void read_number(const char* text, Value& value)
{
    const char* const end = text + std::strlen(text);
    const auto read = std::from_chars(text, end, value);
    if (read.ec != std::errc() || read.ptr != end)
        throw std::runtime_error(std::string(text) + " is not a number that this option takes");
}

bench::options read_options(int count, char** arguments)
{
    bench::options how;
    for (int i = 1; i + 1 < count; i += 2) {
        if (std::strcmp(arguments[i], "--rounds") == 0)
            read_number(arguments[i + 1], how.rounds);
        else if (std::strcmp(arguments[i], "--seconds") == 0)
            read_number(arguments[i + 1], how.seconds);
        else if (std::strcmp(arguments[i], "--growth") == 0)
            how.with_growth = std::strcmp(arguments[i + 1], "yes") == 0;
        else if (std::strcmp(arguments[i], "--candidates") == 0)
            read_number(arguments[i + 1], how.candidates);
        else if (std::strcmp(arguments[i], "--only") == 0)
            how.only = arguments[i + 1];
    }
    return how;
}

} // namespace

int main(int count, char** arguments)
{
    // What is shared with the tests checks what it calls.
    doctest::Context context;
    context.setAsDefaultForAssertsOutOfTestCases();

    try {
        const bench::options how = read_options(count, arguments);
        bench::chunk_figures(how);
        bench::sample_figures(how);
        bench::feed_figures(how);
        bench::allocation_figures(how);
        bench::start_figures(how);
        bench::scan_figures(how);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench: %s\n", failure.what());
        return 3;
    }
    return 0;
}
