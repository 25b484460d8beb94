#include "sdk/threads.h"

#include "sdk/host_api.h"

namespace {

class runnable_function : public runnable {
public:
    using service_interface = runnable;

    explicit runnable_function(std::function<void()>&& work)
        : work_(std::move(work))
    {
    }
    void run() noexcept override
    {
        // What the function holds is released here, on the thread that ran it.
        const std::function<void()> work = std::move(work_);
        try {
            work();
        } catch (...) {
        }
    }

private:
    std::function<void()> work_;
};

} // namespace

service_ptr_t<runnable> make_runnable(std::function<void()> work)
{
    return service_new<runnable_function>(std::move(work));
}

void run_detached(std::function<void()> work)
{
    service_get_unique<detached_threads>()->run_detached(*make_runnable(std::move(work)));
}
