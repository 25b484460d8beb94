#include "worker/wait.h"

#include <cmath>
#include <iterator>
#include <memory>

namespace Nv {

namespace {

uint32_t roundToMilliseconds(double seconds) noexcept
{
    const double milliseconds = std::floor(seconds * 1000.0 + 0.5);
    return milliseconds >= static_cast<double>(INFINITE) ? INFINITE - 1 : static_cast<uint32_t>(milliseconds);
}

} // namespace

uint32_t toMilliseconds(double seconds, limitKind kind) noexcept
{
    switch (kind) {
    case limitKind::stream:
        return seconds > 0 ? roundToMilliseconds(seconds) : INFINITE;
    case limitKind::wait:
        return seconds >= 0 ? roundToMilliseconds(seconds) : INFINITE;
    case limitKind::plain:
        break;
    }
    if (seconds >= 0)
        return roundToMilliseconds(seconds);
    if (!(seconds > -4e12)) // far outside of anything meant; also NaN
        return 0;
    return static_cast<uint32_t>(static_cast<int64_t>(std::floor(seconds * 1000.0 + 0.5)));
}

int waitAny(waitableImpl* const* waitables, size_t count, double limitSeconds)
{
    aborter* const installed = currentAborter;
    const size_t first = installed ? 1 : 0;
    const size_t handleCount = first + count;
    if (handleCount == 0) {
        Sleep(toMilliseconds(limitSeconds, limitKind::wait));
        return -1;
    }

    HANDLE onStack[16];
    std::unique_ptr<HANDLE[]> onHeap;
    HANDLE* handles = onStack;
    if (handleCount > std::size(onStack)) {
        onHeap = std::make_unique<HANDLE[]>(handleCount);
        handles = onHeap.get();
    }
    if (installed)
        handles[0] = installed->event();
    for (size_t i = 0; i < count; ++i)
        handles[first + i] = waitables[i]->event();

    const bool limited = limitSeconds >= 0;
    const ULONGLONG began = GetTickCount64();
    double remaining = limitSeconds;
    for (;;) {
        const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(handleCount), handles, FALSE,
                                                    toMilliseconds(remaining, limitKind::wait));
        if (result >= WAIT_OBJECT_0 + handleCount) // time-out, failure
            return -1;
        const size_t index = result - WAIT_OBJECT_0;
        if (installed && index == 0) {
            if (installed->accept())
                throw user_abort();
        } else if (waitables[index - first]->accept()) {
            return static_cast<int>(index - first);
        }
        // Refused: the event stays signalled, so the next pass may come straight back here.
        if (limited) {
            remaining = limitSeconds - static_cast<double>(GetTickCount64() - began) / 1000.0;
            if (remaining <= 0)
                return -1;
        }
    }
}

void waitForAbort()
{
    waitAny(nullptr, 0, -1);
}

} // namespace Nv
