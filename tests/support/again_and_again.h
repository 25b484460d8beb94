#pragma once
// What is done for long: nothing of the system's and no memory grows by it.

#include "support/system_counts.h"
#include "support/test_host.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

// Plays `once` `rounds` times, after enough rounds for what system and runtime make at a first use and keep.
// A few handles are theirs as well, for locks at which two threads first met. Memory is what the heap keeps
// in pieces too small to give back: the bound does not depend on the rounds, so that a leak passes it in
// many. `host`: its detached threads are over when something is counted.
template <class Once>
void again_and_again(const char* what, int rounds, test_host* host, Once&& once)
{
    constexpr size_t spare_handles = 4;
    constexpr int spare_kib = 512;
    const auto counts = [host] {
        CHECK((!host || host->wait_until_detached_done()));
        return system_counts::now();
    };
    const auto grown_by = [&](int from) {
        const auto began = std::chrono::steady_clock::now();
        system_counts before = {};
        for (int i = from; i < rounds; ++i) {
            if (i == 0)
                before = counts();
            once();
        }
        const system_counts after = counts();
        const int more_kib =
            static_cast<int>(after.private_bytes / 1024) - static_cast<int>(before.private_bytes / 1024);
        std::printf("%s: %d times, %.0f s, %d KiB and %d handles more\n", what, rounds,
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count(), more_kib,
                    static_cast<int>(after.handles) - static_cast<int>(before.handles));
        std::fflush(stdout);
        before.check_nothing_more(spare_handles);
        return more_kib;
    };
    // A step is no growth (a heap that took another piece): what leaks does so in as many rounds again.
    if (grown_by(-std::max(5, rounds / 10)) >= spare_kib)
        CHECK(grown_by(0) < spare_kib);
}
