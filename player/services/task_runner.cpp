#include "player/services/task_runner.h"

#include <utility>

namespace player {

void task_runner::run(runnable& task)
{
    const service_ptr_t<runnable> counted(&task); // its last reference goes outside the lock
    const std::lock_guard lock(mutex_);
    if (closed_)
        return;
    waiting_.push_back(counted);
    if (working_ == most_threads)
        return;
    try {
        threads_->start(*make_runnable([self = service_ptr_t<task_runner>(this)] { self->work(); }),
                        L"background task");
        ++working_;
    } catch (...) {
        if (working_ != 0)
            return; // one of the others takes it
        waiting_.pop_back();
        throw;
    }
}

service_ptr_t<runnable> task_runner::take()
{
    const std::lock_guard lock(mutex_);
    if (waiting_.empty()) {
        --working_;
        return {};
    }
    service_ptr_t<runnable> first = std::move(waiting_.front());
    waiting_.pop_front();
    return first;
}

void task_runner::work() noexcept
{
    while (const auto task = take())
        task->run();
}

void task_runner::close() noexcept
{
    std::deque<service_ptr_t<runnable>> dropped; // goes outside the lock
    const std::lock_guard lock(mutex_);
    closed_ = true;
    dropped.swap(waiting_);
}

} // namespace player
