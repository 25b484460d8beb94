#include "worker/winPipeServerLite.h"

#include "worker/pipeName.h"
#include "worker/wait.h"

#include <stdexcept>

namespace Nv {

namespace {

// A connect that is pending; cancelled and waited for when it is not seen through.
class pendingConnect {
public:
    explicit pendingConnect(HANDLE pipe)
        : pipe_(pipe)
    {
        overlapped_.hEvent = connected_.event();
        ResetEvent(overlapped_.hEvent);
    }
    ~pendingConnect()
    {
        if (!pending_)
            return;
        CancelIo(pipe_);
        DWORD ignored = 0;
        GetOverlappedResult(pipe_, &overlapped_, &ignored, TRUE);
    }

    // False leaves the code in GetLastError.
    bool start()
    {
        SetLastError(0);
        const bool connected = ConnectNamedPipe(pipe_, &overlapped_) != FALSE;
        pending_ = !connected && GetLastError() == ERROR_IO_PENDING;
        return connected;
    }
    bool wait(double limitSeconds)
    {
        waitableImpl* const waited = &connected_;
        return waitAny(&waited, 1, limitSeconds) == 0;
    }
    bool finish()
    {
        pending_ = false;
        DWORD ignored = 0;
        return GetOverlappedResult(pipe_, &overlapped_, &ignored, TRUE) != FALSE;
    }

private:
    HANDLE pipe_;
    waitable connected_;
    OVERLAPPED overlapped_ = {};
    bool pending_ = false;
};

} // namespace

std::wstring winPipeServerLite::createPipe()
{
    std::wstring name = makePipeName();
    closePipe();
    handle = Nv::createPipe(name, PIPE_ACCESS_DUPLEX);
    return name;
}

void winPipeServerLite::connectWorker(double limitSeconds)
{
    pendingConnect connect(handle.get());
    if (connect.start())
        return;
    switch (GetLastError()) {
    case ERROR_PIPE_CONNECTED: // the worker was quicker
        return;
    case ERROR_IO_PENDING:
        break;
    default: // also ERROR_NO_DATA: it came and went
        throw std::runtime_error("could not connect pipe");
    }
    if (!connect.wait(limitSeconds))
        throw std::runtime_error("timeout");
    if (!connect.finish())
        throw std::runtime_error("could not connect pipe");
}

void winPipeServerLite::exchange(const void* out, uint64_t outSize, void* in, uint64_t inSize)
{
    writeAllTransfers(out, outSize, abortLook::whileWaiting);
    if (readUntilFull(in, inSize, abortLook::whileWaiting) != inSize)
        throw invalid_input();
}

} // namespace Nv
