#include "worker/startWorker.h"

#include "sdk/console.h"
#include "sdk/filesystem.h"
#include "sdk/threads.h"
#include "win/utf.h"
#include "worker/exceptions.h"
#include "worker/failureText.h"
#include "worker/thread.h"
#include "worker/workerProcess.h"

#include <mutex>

namespace Nv {

namespace {

constexpr double connectSeconds = 10.0;

std::mutex& pathMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::string& storedPath()
{
    static std::string path;
    return path;
}

std::string workerPath(const vstConfig_t& effect)
{
    return folderOf(componentPath()) + workerFileName(effect.arch);
}

} // namespace

void setComponentPath(std::string path)
{
    const std::lock_guard lock(pathMutex());
    storedPath() = std::move(path);
}

std::string componentPath()
{
    const std::lock_guard lock(pathMutex());
    return storedPath();
}

void startWorker(winPipeServerLite& pipe, const vstConfig_t& effect, std::string_view mode,
                 const argumentList& options)
{
    std::string pipeName;
    if (pipe.usePipe)
        pipeName = win::to_utf8(pipe.createPipe());

    launchParams params;
    params.executable = workerPath(effect);
    params.arguments = workerArguments(params.executable, mode, native_path(effect.path), effect.vstVersion,
                                       options, pipeName);
    params.standardError = stdioMode::pipe;
    auto worker = std::make_shared<workerProcess>(std::move(params));
    run_detached([worker] {
        setThreadName("VST worker messages");
        readStdErr(worker);
    });
    pipe.worker = std::move(worker);

    if (pipe.usePipe)
        pipe.connectWorker(connectSeconds);
}

void tellFailedStart(const char* what, const vstConfig_t& effect, const std::exception& failure) noexcept
{
    try {
        const bool missing = dynamic_cast<const file_not_found*>(&failure) != nullptr;
        console::print(std::string(what) + (missing ? "the worker program " + workerPath(effect) +
                                                          " is missing; put it back beside the component"
                                                    : failureText(failure)));
    } catch (...) {
        // The failure itself is dealt with by the caller all the same.
    }
}

} // namespace Nv
