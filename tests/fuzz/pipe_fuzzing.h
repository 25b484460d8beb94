#pragma once
// What the programs that send random conversations have in common.

#include "support/test_options.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <random>

// A round is played from its number alone, so that one that finds something can be played again.
class dice {
public:
    explicit dice(uint64_t round)
        : random_(round)
    {
    }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); } // limit > 0
    bool one_in(uint32_t limit) { return below(limit) == 0; }
    // Often a value that breaks something.
    uint32_t number()
    {
        constexpr uint32_t odd[] = {0,   1,     2,     3,          7,          8,          255,       256,
                                    257, 65535, 65536, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF8, 0xFFFFFFFF};
        return one_in(3) ? static_cast<uint32_t>(random_()) : odd[below(std::size(odd))];
    }
    void fill(void* bytes, size_t count)
    {
        for (auto* at = static_cast<uint8_t*>(bytes); count != 0; --count)
            *at++ = static_cast<uint8_t>(random_());
    }

private:
    std::mt19937_64 random_;
};

// Rounds from 1 for 5 seconds, a minute in a long run; QVX_FUZZ_SECONDS is another time, from a round that
// differs from run to run, QVX_FUZZ_ROUND one round alone.
class rounds {
public:
    rounds()
    {
        if (const char* const one = std::getenv("QVX_FUZZ_ROUND")) {
            next_ = std::strtoull(one, nullptr, 10);
            seconds_ = -1;
        } else if (const char* const time = std::getenv("QVX_FUZZ_SECONDS")) {
            seconds_ = std::strtod(time, nullptr);
            next_ = static_cast<uint64_t>(began_.time_since_epoch().count());
        }
    }
    bool more()
    {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - began_;
        return count_++ == 0 || passed.count() < seconds_;
    }
    uint64_t next() { return next_++; }
    int played() const { return count_ - 1; }

private:
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
    double seconds_ = test_options::long_run() ? 60 : 5;
    uint64_t next_ = 1;
    int count_ = 0;
};
