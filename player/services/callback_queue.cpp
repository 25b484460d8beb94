#include "player/services/callback_queue.h"

#include "sdk/exceptions.h"

namespace player {

callback_queue::callback_queue()
    : posted_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    if (!posted_)
        throw exception_win32(GetLastError());
}

void callback_queue::post(runnable& callback)
{
    const service_ptr_t<runnable> counted(&callback); // its last reference goes outside the lock
    const std::lock_guard lock(mutex_);
    if (closed_)
        return;
    waiting_.push_back(counted);
    SetEvent(posted_.get());
    if (wake_)
        wake_();
}

service_ptr_t<runnable> callback_queue::take() noexcept
{
    const std::lock_guard lock(mutex_);
    if (waiting_.empty())
        return {};
    service_ptr_t<runnable> first = std::move(waiting_.front());
    waiting_.pop_front();
    if (waiting_.empty())
        ResetEvent(posted_.get());
    return first;
}

void callback_queue::run_pending() noexcept
{
    size_t count;
    {
        const std::lock_guard lock(mutex_);
        count = waiting_.size();
    }
    for (; count != 0; --count) {
        const service_ptr_t<runnable> callback = take();
        if (!callback)
            return;
        callback->run();
    }
}

void callback_queue::wait(std::chrono::milliseconds limit, void* or_event) const noexcept
{
    const HANDLE events[] = {posted_.get(), or_event};
    WaitForMultipleObjects(or_event ? 2 : 1, events, FALSE,
                           static_cast<DWORD>(limit.count() > 0 ? limit.count() : 0));
}

void callback_queue::set_wake(std::function<void()> wake)
{
    const std::lock_guard lock(mutex_);
    wake_ = std::move(wake);
    if (wake_ && !waiting_.empty())
        wake_();
}

void callback_queue::close() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }
    // One by one outside the lock: what they hold may post when it goes.
    while (take()) {
    }
}

} // namespace player
