#include "sdk/main_thread.h"

#include "sdk/host_api.h"

void post_to_main_thread(std::function<void()> callback)
{
    service_get_unique<main_thread_queue>()->post(*make_runnable(std::move(callback)));
}
