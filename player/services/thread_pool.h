#pragma once
#include "sdk/threads.h"
#include "win/handle.h"

#include <chrono>
#include <mutex>
#include <vector>

namespace player {

// The detached threads of components, counted until each has ended, so that no thread is left inside a
// component that is unloaded.
class thread_pool : public detached_threads {
public:
    using service_interface = detached_threads;

    void run_detached(runnable& work) override { start(work, L"component work"); }
    // The same, with the name that debuggers show.
    void start(runnable& work, const wchar_t* name);

    // True when all threads, also those started meanwhile, ended within the limit. Any thread but theirs.
    bool wait_until_idle(std::chrono::milliseconds limit);

private:
    void forget_ended(); // under the mutex

    std::mutex mutex_;
    std::vector<win::kernel_handle> threads_;
};

} // namespace player
