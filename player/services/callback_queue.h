#pragma once
#include "sdk/main_thread.h"
#include "win/handle.h"

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>

namespace player {

// The callbacks that wait for the main thread. Somebody there has to take them out: a queue_window where
// messages are dispatched, else wait() and run_pending().
class callback_queue : public main_thread_queue {
public:
    using service_interface = main_thread_queue;

    callback_queue(); // throws exception_win32 when no event can be made

    void post(runnable& callback) override;

    // Runs what waits now, not what is posted meanwhile. A callback may run a message loop and so get here
    // again: the order holds. Main thread.
    void run_pending() noexcept;
    // Waits until a callback waits, `or_event` (a HANDLE, may be null) is signalled or the limit is over;
    // does not dispatch messages. Main thread.
    void wait(std::chrono::milliseconds limit, void* or_event = nullptr) const noexcept;

    // Called after each post, on the posting thread and under a lock: must not post or wait. Empty: nobody.
    void set_wake(std::function<void()> wake);

    // Releases what waits; later posts release their callback at once. Main thread.
    void close() noexcept;

private:
    service_ptr_t<runnable> take() noexcept; // empty when nothing waits

    mutable std::mutex mutex_; // guards what follows
    std::deque<service_ptr_t<runnable>> waiting_;
    std::function<void()> wake_;
    bool closed_ = false;
    win::kernel_handle posted_; // manual reset, set while something waits
};

} // namespace player
