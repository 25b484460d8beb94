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

// The host's event as a handle of our own.
HANDLE duplicateHostEvent(abort_callback& host)
{
    if (host.is_aborting())
        throw exception_aborted();
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), host.get_abort_event(), GetCurrentProcess(), &copy, 0, FALSE,
                         DUPLICATE_SAME_ACCESS))
        throw bug_check();
    return copy;
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

hostAbortBinding::hostAbortBinding(abort_callback& host)
    : aborter_(duplicateHostEvent(host))
    , scope_(aborter_)
{
}

} // namespace Nv
