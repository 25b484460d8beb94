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
void read_number(const char* text, Value least, Value& value)
{
    const char* const end = text + std::strlen(text);
    const auto read = std::from_chars(text, end, value);
    if (read.ec != std::errc() || read.ptr != end || !(value >= least))
        throw std::runtime_error(std::string(text) + " is not a number that this option takes");
}

bench::options read_options(int count, char** arguments)
{
    bench::options how;
    for (int i = 1; i < count; i += 2) {
        const std::string option = arguments[i];
        if (i + 1 == count)
            throw std::runtime_error(option + " needs a value");
        if (option == "--rounds")
            read_number(arguments[i + 1], 1, how.rounds);
        else if (option == "--seconds")
            read_number(arguments[i + 1], 0.0, how.seconds);
        else if (option == "--growth")
            how.with_growth = std::strcmp(arguments[i + 1], "yes") == 0;
        else if (option == "--candidates")
            read_number(arguments[i + 1], size_t{10}, how.candidates); // a folder of them
        else if (option == "--only")
            how.only = arguments[i + 1];
        else
            throw std::runtime_error("unknown option " + option);
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
