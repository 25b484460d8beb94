#pragma once
// Waits of tests, each with a limit.

#include <windows.h>

#include <functional>

// Asks `done` again and again, `meanwhile` in between; false when it does not hold at the limit.
inline bool wait_until(const std::function<bool()>& done, double limit_seconds,
                       const std::function<void()>& meanwhile)
{
    for (const ULONGLONG began = GetTickCount64(); !done(); meanwhile())
        if (static_cast<double>(GetTickCount64() - began) > limit_seconds * 1000)
            return false;
    return true;
}
