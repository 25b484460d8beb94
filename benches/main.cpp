// bench.exe [--rounds N] [--seconds S] [--candidates N] [--growth yes] [--only TEXT]: measures and prints one
// JSON object a figure and line.

#define DOCTEST_CONFIG_IMPLEMENT
#include "benches/figures.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

int main(int count, char** arguments)
{
    // What is shared with the tests checks what it calls.
    doctest::Context context;
    context.setAsDefaultForAssertsOutOfTestCases();

    bench::options how;
    for (int i = 1; i + 1 < count; i += 2) {
        if (std::strcmp(arguments[i], "--rounds") == 0)
            how.rounds = std::atoi(arguments[i + 1]);
        else if (std::strcmp(arguments[i], "--seconds") == 0)
            how.seconds = std::atof(arguments[i + 1]);
        else if (std::strcmp(arguments[i], "--growth") == 0)
            how.with_growth = std::strcmp(arguments[i + 1], "yes") == 0;
        else if (std::strcmp(arguments[i], "--candidates") == 0)
            how.candidates = std::strtoul(arguments[i + 1], nullptr, 10);
        else if (std::strcmp(arguments[i], "--only") == 0)
            how.only = arguments[i + 1];
    }
    try {
        bench::chunk_figures(how);
        bench::sample_figures(how);
        bench::feed_figures(how);
        bench::start_figures(how);
        bench::scan_figures(how);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench: %s\n", failure.what());
        return 3;
    }
    return 0;
}
