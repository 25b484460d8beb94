#include "vsthost/early_thread.h"

namespace {

constexpr DWORD running_limit = 5000; // ms

struct beginning {
    LPTHREAD_START_ROUTINE function;
    void* argument;
    HANDLE runs;
};

DWORD WINAPI begin(void* given)
{
    const beginning mine = *static_cast<beginning*>(given);
    delete static_cast<beginning*>(given);
    SetEvent(mine.runs);
    return mine.function(mine.argument);
}

} // namespace

void vsthost::start_early_thread(LPTHREAD_START_ROUTINE function, void* argument)
{
    // The event stays open: the thread may come after the limit.
    const HANDLE runs = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (const HANDLE thread =
            CreateThread(nullptr, 0, begin, new beginning{function, argument, runs}, 0, nullptr)) {
        WaitForSingleObject(runs, running_limit);
        CloseHandle(thread);
    }
}
