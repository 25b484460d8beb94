#include "worker/abort.h"

namespace Nv {

constinit thread_local aborter* currentAborter = nullptr;

namespace {

HANDLE newManualResetEvent()
{
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!event)
        throw bug_check();
    return event;
}

HANDLE hostEvent(abort_callback& host, hostAbortBinding::use how)
{
    if (host.is_aborting())
        throw exception_aborted();
    HANDLE event = host.get_abort_event();
    if (how == hostAbortBinding::use::duplicate &&
        !DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &event, 0, FALSE,
                         DUPLICATE_SAME_ACCESS))
        throw bug_check();
    return event;
}

// One call finds out both whether it is an event and whether it is signalled.
aborter& foundQuiet(aborter& bound)
{
    switch (WaitForSingleObject(bound.event(), 0)) {
    case WAIT_TIMEOUT:
        return bound;
    case WAIT_OBJECT_0:
        throw user_abort();
    default:
        throw bug_check();
    }
}

} // namespace

waitableImpl::~waitableImpl()
{
    if (!borrowed_ && event_)
        CloseHandle(event_);
}

waitable::waitable()
    : waitableImpl(newManualResetEvent(), false)
{
}

void throwIfAborted()
{
    if (currentAborter && currentAborter->isSignalled())
        throw user_abort();
}

abortScope::abortScope(aborter& installed)
    : previous_(currentAborter)
{
    if (installed.isSignalled())
        throw user_abort();
    currentAborter = &installed;
}

hostAbortBinding::hostAbortBinding(abort_callback& host, use how)
    : aborter_(hostEvent(host, how), how == use::borrow)
    , scope_(foundQuiet(aborter_), abortScope::looked())
{
}

} // namespace Nv
