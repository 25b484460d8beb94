#pragma once
// Streams over handles that were opened for overlapped I/O. Every wait races the operation against the
// thread's aborter and the stream's limit. An operation that is cut short is cancelled and waited for before
// its buffer goes out of use; its bytes are lost, and the conversation cannot go on.

#include "win/handle.h"
#include "worker/stream.h"

#include <cstddef>

namespace Nv {

// What the streams share; used by one thread at a time (CancelIo reaches only the calling thread's
// operations).
class _streamOverlappedBase {
public:
    double timeoutSeconds = 0; // limit of every single wait; 0: none
    win::file_handle handle;   // attached by the owner; closed with the stream

protected:
    _streamOverlappedBase() noexcept;
    ~_streamOverlappedBase() { handle.reset(); } // before its event

    // Whether an abort is looked for before each transfer, or only where one waits.
    enum class abortLook { beforeEach, whileWaiting };

    // One ReadFile of at most 16 MiB. 0: size was 0, or the stream has ended.
    size_t readTransfer(void* buffer, uint64_t size, abortLook look = abortLook::beforeEach);
    uint64_t readUntilFull(void* buffer, uint64_t size, abortLook look = abortLook::beforeEach);
    void writeAllTransfers(const void* buffer, uint64_t size, abortLook look = abortLook::beforeEach);

private:
    class operation;

    win::kernel_handle event_; // manual-reset; when there is none each operation makes one for itself
};

class streamInOverlapped final : public streamIn, private _streamOverlappedBase {
public:
    using _streamOverlappedBase::handle;
    using _streamOverlappedBase::timeoutSeconds;

    uint64_t read(void* buffer, uint64_t size) override { return readUntilFull(buffer, size); }
    uint64_t readSome(void* buffer, uint64_t size) override { return readTransfer(buffer, size); }
};

class streamOutOverlapped final : public streamOut, private _streamOverlappedBase {
public:
    using _streamOverlappedBase::handle;
    using _streamOverlappedBase::timeoutSeconds;

    void write(const void* buffer, uint64_t size) override { writeAllTransfers(buffer, size); }
};

// Throws the class that belongs to a Win32 error code.
[[noreturn]] void mapLastError(uint32_t code);

} // namespace Nv
