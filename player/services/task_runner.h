#pragma once
#include "player/services/thread_pool.h"
#include "sdk/background_tasks.h"

#include <deque>
#include <mutex>

namespace player {

// Background tasks on a few threads of the pool: one is made when a task comes and all are busy, and ends
// when no task is left. Waiting for the tasks that run is the pool's.
class task_runner : public background_tasks {
public:
    using service_interface = background_tasks;
    // Tasks mostly wait for disks, some for ones that have gone away.
    static constexpr size_t most_threads = 8;

    explicit task_runner(service_ptr_t<thread_pool> threads)
        : threads_(std::move(threads))
    {
    }

    void run(runnable& task) override;
    // Releases the tasks that have not begun; later ones are released at once.
    void close() noexcept;

private:
    void work() noexcept;           // what a thread does
    service_ptr_t<runnable> take(); // empty: the thread has to end

    service_ptr_t<thread_pool> threads_;
    std::mutex mutex_; // guards what follows
    std::deque<service_ptr_t<runnable>> waiting_;
    size_t working_ = 0; // threads
    bool closed_ = false;
};

} // namespace player
