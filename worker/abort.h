#pragma once
// Abort: every blocking operation of the worker link gives up with user_abort once the event of the calling
// thread's aborter is signalled.

#include "sdk/abort_callback.h"
#include "sdk/exceptions.h"
#include "worker/exceptions.h"

#include <windows.h>

#include <utility>

namespace Nv {

// An event that waitAny can wait for.
class waitableImpl {
public:
    // Asked when the event was found signalled; false means "wait on".
    virtual bool accept() = 0;

    HANDLE event() const noexcept { return event_; }

    waitableImpl(const waitableImpl&) = delete;
    waitableImpl& operator=(const waitableImpl&) = delete;

protected:
    // Takes over `event` and closes it at the end, unless it is only borrowed.
    waitableImpl(HANDLE event, bool borrowed) noexcept
        : event_(event)
        , borrowed_(borrowed)
    {
    }
    ~waitableImpl();

private:
    HANDLE event_;
    bool borrowed_;
};

class waitable : public waitableImpl {
public:
    // A manual-reset event of its own, not signalled. Throws bug_check when it cannot be made.
    waitable();
    explicit waitable(HANDLE event, bool borrowed = false) noexcept
        : waitableImpl(event, borrowed)
    {
    }
    bool accept() override { return true; }
};

// A cancellation token: signalled when the operation is to be given up. signal() from any thread.
class aborter : public waitable {
public:
    using waitable::waitable;
    void signal() noexcept { SetEvent(event()); }
    void reset() noexcept { ResetEvent(event()); }
    bool isSignalled() const noexcept { return WaitForSingleObject(event(), 0) == WAIT_OBJECT_0; }
};

// The innermost aborter installed on this thread, or null. Not owned by the slot.
extern constinit thread_local aborter* currentAborter;

// Throws user_abort when this thread's aborter is signalled.
void throwIfAborted();

// Installs an aborter on the current thread for as long as the scope lives: an automatic object, which the
// aborter outlives. Throws user_abort, and installs nothing, when the aborter is signalled already. Scopes
// nest.
class abortScope {
public:
    explicit abortScope(aborter& installed);
    // For whoever has just found the aborter not signalled: does not look again.
    struct looked {};
    abortScope(aborter& installed, looked) noexcept
        : previous_(std::exchange(currentAborter, &installed))
    {
    }
    ~abortScope() { currentAborter = previous_; }
    abortScope(const abortScope&) = delete;
    abortScope& operator=(const abortScope&) = delete;

private:
    aborter* previous_;
};

// Runs close-downs to their end although the thread's aborter may be signalled: no aborter for as long as it
// lives.
class abortSuspended {
public:
    abortSuspended() noexcept
        : previous_(std::exchange(currentAborter, nullptr))
    {
    }
    ~abortSuspended() { currentAborter = previous_; }
    abortSuspended(const abortSuspended&) = delete;
    abortSuspended& operator=(const abortSuspended&) = delete;

private:
    aborter* previous_;
};

// Binds the player's token to the current thread, as an abortScope does. The constructor throws
// exception_aborted when the token reports abort, bug_check when its event is none, user_abort when the event
// alone is signalled.
class hostAbortBinding {
public:
    // `borrow`: the token outlives the binding, so its event is used as it is. `duplicate`: the token is only
    // used by the constructor.
    enum class use { duplicate, borrow };
    explicit hostAbortBinding(abort_callback& host, use how = use::duplicate);

private:
    aborter aborter_;
    abortScope scope_;
};

// Runs `work` bound to the player's token, which the caller keeps; a user_abort that leaves it becomes
// exception_aborted. What the binding itself throws is not converted.
template <class Work>
auto runWithHostAbort(abort_callback& host, Work&& work)
{
    const hostAbortBinding binding(host, hostAbortBinding::use::borrow);
    try {
        return work();
    } catch (const user_abort&) {
        throw exception_aborted();
    }
}

} // namespace Nv
