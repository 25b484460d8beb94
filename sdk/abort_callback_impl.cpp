#include "sdk/abort_callback_impl.h"

#include "sdk/exceptions.h"

#include <windows.h>

abort_callback_impl::abort_callback_impl()
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    if (!event_)
        throw exception_win32(GetLastError());
}

abort_callback_impl::~abort_callback_impl()
{
    CloseHandle(event_);
}

void abort_callback_impl::abort() noexcept
{
    aborting_ = true;
    SetEvent(event_);
}

void abort_callback_impl::reset() noexcept
{
    ResetEvent(event_);
    aborting_ = false;
}

abort_callback& abort_callback_never()
{
    static abort_callback_impl never;
    return never;
}
