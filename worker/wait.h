#pragma once
// Waiting with a limit in seconds.

#include "worker/abort.h"

#include <cstddef>
#include <cstdint>

namespace Nv {

// What a limit in seconds means at its edges; the difference is on purpose.
enum class limitKind {
    stream, // 0, negative and NaN: no limit
    wait,   // 0 polls; negative and NaN: no limit
    plain,  // no special case: a negative value wraps as its 32-bit image does, NaN polls
};

// Seconds as Win32 milliseconds, rounded half up; a finite limit stays below INFINITE.
uint32_t toMilliseconds(double seconds, limitKind kind) noexcept;

// Waits for the first of `count` waitables whose event is signalled and that accepts it, and returns its
// index; -1 when the limit is reached, or when the wait itself fails (more than 63 waitables). Throws
// user_abort when this thread's aborter fires first; on a tie the aborter wins. Without anything to wait for
// it sleeps for the limit.
int waitAny(waitableImpl* const* waitables, size_t count, double limitSeconds);

// Blocks until this thread's aborter fires, then throws user_abort. Never returns when none is installed.
void waitForAbort();

} // namespace Nv
