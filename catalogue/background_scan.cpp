#include "catalogue/background_scan.h"

#include "sdk/abort_callback_impl.h"
#include "sdk/background_tasks.h"
#include "sdk/host_api.h"
#include "sdk/main_thread.h"

#include <utility>

// Shared by the owner, the task and the callback that delivers.
struct background_scan::run_t {
    abort_callback_impl token;
    std::vector<vstFolder_t> folders;
    std::shared_ptr<scan_observer> observer;
    std::vector<vstConfig_t> result; // the task's until it posts, the main thread's from then on
    deliver_t deliver; // the main thread's: a task that outlives its owner must not be what destroys this
};

void background_scan::begin(deliver_t deliver)
{
    core_api::ensure_main_thread();
    cancel();
    begin(getScanFolders(), std::move(deliver));
}

void background_scan::begin(std::vector<vstFolder_t> folders, deliver_t deliver,
                            std::shared_ptr<scan_observer> observer)
{
    core_api::ensure_main_thread();
    cancel();
    const auto run = std::make_shared<run_t>();
    run->folders = std::move(folders);
    run->observer = std::move(observer);
    run->deliver = std::move(deliver);
    // Made here, so that the task has little left that can fail.
    const auto delivery = make_runnable([run] {
        if (run->token.is_aborting())
            return;
        const deliver_t to = std::exchange(run->deliver, nullptr);
        to(std::move(run->result));
    });
    run_in_background([run, delivery, queue = service_get_unique<main_thread_queue>()] {
        try {
            scanFolders(run->result, run->folders, run->token, run->observer.get());
        } catch (...) {
            // Somebody waits for the result: what was found is better than nothing.
        }
        try {
            if (!run->token.is_aborting())
                queue->post(*delivery);
        } catch (...) {
            // Without memory for a callback there is no way to tell; the task still ends here.
        }
    });
    run_ = run;
}

void background_scan::cancel() noexcept
{
    const auto run = std::exchange(run_, nullptr);
    if (!run)
        return;
    run->token.abort();
    run->deliver = nullptr;
}
