#pragma once
// Owners of handles: move-only, closed exactly once. One owner per handle; a raw HANDLE parameter never owns.

#include <windows.h>

#include <utility>

namespace win {

// An event, process, thread or mutex: invalid is null.
struct null_handle_traits {
    static HANDLE invalid() noexcept { return nullptr; }
};
// A file or pipe: invalid is INVALID_HANDLE_VALUE.
struct file_handle_traits {
    static HANDLE invalid() noexcept { return INVALID_HANDLE_VALUE; }
};

template <class Traits>
class unique_handle {
public:
    unique_handle() noexcept = default;
    explicit unique_handle(HANDLE owned) noexcept
        : handle_(owned)
    {
    }
    unique_handle(unique_handle&& other) noexcept
        : handle_(other.release())
    {
    }
    unique_handle& operator=(unique_handle&& other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~unique_handle() { reset(); }

    HANDLE get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != Traits::invalid(); }
    HANDLE release() noexcept { return std::exchange(handle_, Traits::invalid()); }
    void reset(HANDLE owned = Traits::invalid()) noexcept
    {
        const HANDLE old = std::exchange(handle_, owned);
        if (old != Traits::invalid())
            CloseHandle(old);
    }
    // For functions that return a handle through a pointer. Closes what was held.
    HANDLE* put() noexcept
    {
        reset();
        return &handle_;
    }

private:
    HANDLE handle_ = Traits::invalid();
};

using kernel_handle = unique_handle<null_handle_traits>;
using file_handle = unique_handle<file_handle_traits>;

} // namespace win
