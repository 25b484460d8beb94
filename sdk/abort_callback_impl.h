#pragma once
#include "sdk/abort_callback.h"

#include <atomic>

// A token of one's own. Threads: abort() from any; reset() only while no operation uses the token.
class abort_callback_impl final : public abort_callback {
public:
    abort_callback_impl(); // throws exception_win32 when no event can be made
    ~abort_callback_impl();
    abort_callback_impl(const abort_callback_impl&) = delete;
    abort_callback_impl& operator=(const abort_callback_impl&) = delete;

    void abort() noexcept; // sets the flag, then the event
    void reset() noexcept;

    bool is_aborting() const noexcept override { return aborting_; }
    void* get_abort_event() const noexcept override { return event_; }

private:
    std::atomic<bool> aborting_{false};
    void* event_ = nullptr;
};

// The token that never aborts, for operations without a caller who could. One per module, valid until it
// unloads.
abort_callback& abort_callback_never();
