#include "sdk/background_tasks.h"

#include "sdk/host_api.h"

void run_in_background(std::function<void()> task)
{
    service_get_unique<background_tasks>()->run(*make_runnable(std::move(task)));
}
