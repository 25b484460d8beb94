#pragma once
// What a fuzzer finds is the end of its program.

#include <cstdlib>

inline void require(bool holds)
{
    if (!holds)
        std::abort();
}
