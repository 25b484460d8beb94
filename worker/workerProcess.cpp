#include "worker/workerProcess.h"

#include "sdk/app_abort.h"
#include "sdk/console.h"
#include "sdk/host_api.h"
#include "win/utf.h"
#include "worker/abort.h"
#include "worker/commandLine.h"
#include "worker/pipeName.h"
#include "worker/wait.h"
#include "worker/winPipeServerLite.h"

#include <mutex>
#include <stdexcept>

namespace Nv {

namespace {

constexpr uint64_t relayedLineLimit = 0x1000000;
constexpr DWORD closeDownMilliseconds = 2000;
constexpr DWORD terminateMilliseconds = 1000;
constexpr UINT terminatedExitCode = 0xFFFFFFFF;

// A process started by another thread inherits every inheritable handle that is open at that moment. If it
// took our copy of a worker's standard-error end, the stream would not end with its worker: launches go one
// after another.
std::mutex& launchMutex()
{
    static std::mutex mutex;
    return mutex;
}

struct stdPipe {
    win::file_handle ours;
    win::file_handle workers;
};

// A pipe whose worker's end is inheritable. `access`: PIPE_ACCESS_INBOUND reads from the worker, _OUTBOUND
// writes.
stdPipe createStdPipe(DWORD access)
{
    SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const std::wstring name = makePipeName();
    stdPipe pipe;
    pipe.ours = createPipe(name, access, &inheritable);
    pipe.workers.reset(CreateFileW(name.c_str(), access == PIPE_ACCESS_INBOUND ? GENERIC_WRITE : GENERIC_READ,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_EXISTING, 0,
                                   nullptr));
    if (!pipe.workers)
        throw std::runtime_error("pipe creation failure");
    return pipe;
}

// The same pipe end as a handle that is not inherited.
win::file_handle notInheritable(const win::file_handle& source)
{
    win::file_handle copy;
    if (!DuplicateHandle(GetCurrentProcess(), source.get(), GetCurrentProcess(), copy.put(), 0, FALSE,
                         DUPLICATE_SAME_ACCESS))
        throw std::runtime_error("pipe creation failure");
    return copy;
}

} // namespace

// The three handles a process is started with, and our copies of them where they are pipe ends.
class workerProcess::standardHandles {
public:
    explicit standardHandles(workerProcess& owner)
    {
        input = choose(owner.params_.standardInput, STD_INPUT_HANDLE, PIPE_ACCESS_OUTBOUND, ends_[0]);
        if (ends_[0].ours) {
            // The inheritable end goes before the process starts: a worker that held it as well would never
            // see its input end.
            owner.standardInput_.handle = notInheritable(ends_[0].ours);
            ends_[0].ours.reset();
        }
        output = choose(owner.params_.standardOutput, STD_OUTPUT_HANDLE, PIPE_ACCESS_INBOUND, ends_[1]);
        owner.standardOutput_.handle = std::move(ends_[1].ours);
        error = choose(owner.params_.standardError, STD_ERROR_HANDLE, PIPE_ACCESS_INBOUND, ends_[2]);
        owner.standardError_.handle = std::move(ends_[2].ours);
    }

    HANDLE input;
    HANDLE output;
    HANDLE error;

private:
    static HANDLE choose(stdioMode mode, DWORD hostHandle, DWORD access, stdPipe& ends)
    {
        switch (mode) {
        case stdioMode::inherit:
            return GetStdHandle(hostHandle);
        case stdioMode::pipe:
            ends = createStdPipe(access);
            return ends.workers.get();
        case stdioMode::none:
            break;
        }
        return INVALID_HANDLE_VALUE;
    }

    stdPipe ends_[3];
};

workerProcess::workerProcess(launchParams params)
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    , params_(std::move(params))
{
    start();
}

workerProcess::~workerProcess()
{
    closeAll();
}

void workerProcess::start()
{
    closeAll();
    const std::lock_guard lock(launchMutex());
    const standardHandles handles(*this);

    const std::wstring application = win::to_utf16(params_.executable);
    const std::wstring folder = win::to_utf16(params_.workingFolder);
    std::wstring line = win::to_utf16(params_.commandLineOverride.empty() ? joinCommandLine(params_.arguments)
                                                                          : params_.commandLineOverride);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESHOWWINDOW | STARTF_FORCEOFFFEEDBACK | STARTF_USESTDHANDLES;
    startup.wShowWindow = SW_HIDE;
    startup.hStdInput = handles.input;
    startup.hStdOutput = handles.output;
    startup.hStdError = handles.error;
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(application.empty() ? nullptr : application.c_str(), line.data(), nullptr, nullptr,
                        TRUE, 0, nullptr, folder.empty() ? nullptr : folder.c_str(), &startup, &started)) {
        const DWORD code = GetLastError();
        if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND)
            throw file_not_found();
        throw std::runtime_error("could not start the worker process");
    }
    process_.reset(started.hProcess);
    CloseHandle(started.hThread);
}

bool workerProcess::waitForExit(uint32_t limitMilliseconds)
{
    if (!process_)
        return true;
    const HANDLE handles[2] = {process_.get(), currentAborter ? currentAborter->event() : nullptr};
    switch (WaitForMultipleObjects(currentAborter ? 2 : 1, handles, FALSE, limitMilliseconds)) {
    case WAIT_OBJECT_0:
        return true;
    case WAIT_OBJECT_0 + 1:
        throw user_abort();
    case WAIT_TIMEOUT:
        return false;
    default:
        throw bug_check();
    }
}

bool workerProcess::waitForExitSeconds(double limitSeconds)
{
    return waitForExit(toMilliseconds(limitSeconds, limitKind::plain));
}

uint32_t workerProcess::exitCode() const noexcept
{
    DWORD code = 0;
    return GetExitCodeProcess(process_.get(), &code) ? code : static_cast<uint32_t>(-1);
}

void workerProcess::terminate() noexcept
{
    if (!process_)
        return;
    // TerminateProcess only asks; whoever comes next must not meet a process that still holds its files.
    TerminateProcess(process_.get(), terminatedExitCode);
    WaitForSingleObject(process_.get(), terminateMilliseconds);
}

void workerProcess::closeAll() noexcept
{
    standardInput_.handle.reset();
    standardOutput_.handle.reset();
    standardError_.handle.reset();
    if (process_ && WaitForSingleObject(process_.get(), closeDownMilliseconds) != WAIT_OBJECT_0)
        terminate();
    process_.reset();
}

void readStdErr(const std::shared_ptr<workerProcess>& worker) noexcept
{
    try {
        const auto appAbort = service_get_unique<app_abort>();
        const hostAbortBinding binding(appAbort->get_token());
        std::string line;
        while (readLine(worker->standardError(), line, relayedLineLimit))
            console::print("VST: " + line);
    } catch (...) {
        // The worker is what matters; without its relay it goes on as long as its prints fit the pipe.
    }
}

void stopWorker(winPipeServerLite& pipe, double limitSeconds) noexcept
{
    const abortSuspended untilItIsDown;
    pipe.closePipe();
    const std::shared_ptr<workerProcess> worker = std::exchange(pipe.worker, nullptr);
    if (!worker)
        return;
    bool ended = false;
    try {
        ended = worker->waitForExitSeconds(limitSeconds);
    } catch (...) {
        // The wait cannot tell: end it.
    }
    if (!ended)
        worker->terminate();
}

} // namespace Nv
