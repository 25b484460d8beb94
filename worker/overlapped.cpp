#include "worker/overlapped.h"

#include "worker/abort.h"
#include "worker/wait.h"

#include <algorithm>

namespace Nv {

namespace {

// Keeps every length within the 32 bits of ReadFile and WriteFile.
constexpr uint64_t transferLimit = 0x1000000;

bool isEndOfStream(DWORD code) noexcept
{
    return code == ERROR_HANDLE_EOF || code == ERROR_BROKEN_PIPE;
}

} // namespace

void mapLastError(uint32_t code)
{
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        throw file_not_found();
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        throw file_already_exists();
    case ERROR_DIR_NOT_EMPTY:
        throw directory_not_empty();
    default:
        throw file_access_error();
    }
}

// One overlapped operation: its OVERLAPPED and event. Never goes away while the operation is pending.
class _streamOverlappedBase::operation {
public:
    explicit operation(_streamOverlappedBase& stream)
        : stream_(stream)
    {
        if (!stream.event_)
            ownEvent_.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        overlapped.hEvent = stream.event_ ? stream.event_.get() : ownEvent_.get();
        if (!overlapped.hEvent)
            throw file_access_error();
        // ReadFile and WriteFile reset the event themselves when they begin.
        SetLastError(0);
    }

    // After ERROR_IO_PENDING: returns when the operation has completed, else throws with nothing pending.
    void wait()
    {
        const HANDLE handles[2] = {overlapped.hEvent, currentAborter ? currentAborter->event() : nullptr};
        const DWORD limit = toMilliseconds(stream_.timeoutSeconds, limitKind::stream);
        const DWORD result = currentAborter ? WaitForMultipleObjects(2, handles, FALSE, limit)
                                            : WaitForSingleObject(handles[0], limit);
        if (result == WAIT_OBJECT_0)
            return;
        cancel();
        if (result == WAIT_OBJECT_0 + 1)
            throw user_abort();
        if (result == WAIT_TIMEOUT)
            throw network_error_timeout();
        throw file_access_error();
    }

    // False leaves the code in GetLastError.
    bool finish(DWORD& transferred)
    {
        return GetOverlappedResult(stream_.handle.get(), &overlapped, &transferred, TRUE) != FALSE;
    }

    void cancel()
    {
        CancelIo(stream_.handle.get());
        DWORD ignored = 0;
        GetOverlappedResult(stream_.handle.get(), &overlapped, &ignored, TRUE);
    }

    OVERLAPPED overlapped = {};

private:
    _streamOverlappedBase& stream_;
    win::kernel_handle ownEvent_;
};

_streamOverlappedBase::_streamOverlappedBase() noexcept
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
}

size_t _streamOverlappedBase::readTransfer(void* buffer, uint64_t size, abortLook look)
{
    if (look == abortLook::beforeEach)
        throwIfAborted();
    if (size == 0)
        return 0;

    operation reading(*this);
    const DWORD wanted = static_cast<DWORD>(std::min(size, transferLimit));
    if (!ReadFile(handle.get(), buffer, wanted, nullptr, &reading.overlapped)) {
        const DWORD code = GetLastError();
        if (isEndOfStream(code))
            return 0;
        if (code != ERROR_IO_PENDING)
            mapLastError(code);
        reading.wait();
    }
    DWORD transferred = 0;
    if (!reading.finish(transferred)) {
        const DWORD code = GetLastError();
        if (isEndOfStream(code))
            return 0;
        reading.cancel();
        mapLastError(code);
    }
    return transferred;
}

uint64_t _streamOverlappedBase::readUntilFull(void* buffer, uint64_t size, abortLook look)
{
    auto* const bytes = static_cast<uint8_t*>(buffer);
    uint64_t done = 0;
    do { // also for 0 bytes, so that an abort is seen
        const size_t got = readTransfer(bytes + done, size - done, look);
        if (got == 0)
            break;
        done += got;
    } while (done < size);
    return done;
}

void _streamOverlappedBase::writeAllTransfers(const void* buffer, uint64_t size, abortLook look)
{
    const auto* const bytes = static_cast<const uint8_t*>(buffer);
    uint64_t done = 0;
    do {
        if (look == abortLook::beforeEach)
            throwIfAborted();
        const DWORD piece = static_cast<DWORD>(std::min(size - done, transferLimit));
        if (piece == 0)
            return;
        operation writing(*this);
        if (!WriteFile(handle.get(), bytes + done, piece, nullptr, &writing.overlapped)) {
            const DWORD code = GetLastError();
            if (code != ERROR_IO_PENDING)
                mapLastError(code);
            writing.wait();
        }
        DWORD transferred = 0;
        if (!writing.finish(transferred))
            mapLastError(GetLastError());
        if (transferred < piece)
            throw file_access_error();
        done += piece;
    } while (done < size);
}

} // namespace Nv
