#pragma once
// The cancellation token of every operation that may block. Pure interface plus, in
// sdk/abort_callback_impl.h, the implementation on a Win32 event.

// Any thread may ask; the token outlives the operation it was passed to.
class abort_callback {
public:
    // True once the operation is to be given up; never becomes false again while the operation runs.
    virtual bool is_aborting() const noexcept = 0;

    // A manual-reset event (HANDLE) that is signalled on abort, for use in waits. Owned by the token, the
    // same one for its whole life. Always a valid event, also for a token that never aborts: whoever may wait
    // longer than the operation duplicates it. Set after is_aborting() turned true.
    virtual void* get_abort_event() const noexcept = 0;

protected:
    ~abort_callback() = default;
};
