#pragma once
// The component's end of the pipe to one worker, which also keeps the worker alive while the conversation
// lasts.
//
// States: idle -> pipe created -> worker started -> connected -> conversation -> closed. A pipe is never
// reused: each launch makes one with a fresh name. Closing it is how a worker learns that the conversation is
// over.
//
// One thread at a time, without a lock. The process that `worker` refers to is shared with the thread that
// relays its standard error. While one thread writes live audio, the one that launched may wait for the
// worker's end; it joins the writer before it closes the pipe or changes `worker`.

#include "worker/overlapped.h"

#include <memory>
#include <string>

namespace Nv {

class workerProcess;

class winPipeServerLite final : public streamIn, public streamOut, private _streamOverlappedBase {
public:
    winPipeServerLite() = default;
    winPipeServerLite(const winPipeServerLite&) = delete;
    winPipeServerLite& operator=(const winPipeServerLite&) = delete;

    std::shared_ptr<workerProcess> worker; // empty until a launch; released before the pipe is closed
    bool usePipe = true;                   // false: the worker is started without a pipe

    using _streamOverlappedBase::timeoutSeconds;

    void closePipe() noexcept { handle.reset(); }

    // Closes an older pipe and makes a new one with one instance that nobody inherits. Returns its name.
    // Throws std::runtime_error "CoCreateGuid failure" or "pipe creation failure"; there is no pipe then.
    std::wstring createPipe();

    // Waits until the worker has opened the pipe. Throws std::runtime_error "timeout" or "could not connect
    // pipe", user_abort, and bug_check without an event to wait for; nothing is pending then, pipe and worker
    // stay as they are. Deliberately blind to the worker's own end: what it printed tells the user more than
    // a quicker failure would.
    void connectWorker(double limitSeconds);

    uint64_t read(void* buffer, uint64_t size) override { return readUntilFull(buffer, size); }
    void write(const void* buffer, uint64_t size) override { writeAllTransfers(buffer, size); }
    // A write and the read of its answer, as write and readExact, for the thread that has just looked for an
    // abort and is to pay for as few calls as possible: another one is seen where the exchange waits, or by
    // the next look.
    void exchange(const void* out, uint64_t outSize, void* in, uint64_t inSize);
};

} // namespace Nv
