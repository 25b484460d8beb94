#include "vis/vis_instance.h"

#include "catalogue/settings.h"
#include "sdk/app_abort.h"
#include "sdk/main_thread.h"
#include "sdk/threads.h"
#include "worker/startWorker.h"
#include "worker/thread.h"
#include "worker/workerProcess.h"

namespace {

constexpr double pieceSeconds = 0.01;
constexpr double endSeconds = 1.0;

} // namespace

vis_instance::vis_instance(const vstConfig_t& effect)
    : playback_stream_capture_callback_impl(pieceSeconds)
    , effect_(effect)
{
    run_detached([this] { workerThread(); });
}

void vis_instance::workerThread() noexcept
{
    Nv::setThreadName("VST visualisation");
    Nv::winPipeServerLite pipe;
    abort_callback* shutDown = nullptr; // as long as the process
    try {
        shutDown = &service_get_unique<app_abort>()->get_token();
        const Nv::hostAbortBinding untilShutDown(*shutDown);
        converse(pipe);
    } catch (...) {
        // A window that does not open or goes away is all the user is to see.
    }
    Nv::stopWorker(pipe, endSeconds);
    if (shutDown && shutDown->is_aborting())
        return;
    try {
        // The main thread may run it at once: nothing here touches the object afterwards.
        post_to_main_thread([this] { delete this; });
    } catch (...) {
    }
}

void vis_instance::converse(Nv::winPipeServerLite& pipe)
{
    const auto window = reinterpret_cast<uintptr_t>(core_api::get_host().get_main_window());
    Nv::startWorker(pipe, effect_, Nv::modeConfigureLive,
                    Nv::visualizationOptions(cfg_dpi_aware.get(), window));
    // While playback is paused no write would notice that the window was closed.
    Nv::waitable ended(pipe.worker->processHandle(), true);
    feedLive(queue_, pipe, &ended);
}
