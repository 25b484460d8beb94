#pragma once
// The slim reader/writer lock and its two scopes. Not recursive, also not for readers.

#include <windows.h>

namespace win {

class srw_lock {
public:
    srw_lock() = default;
    srw_lock(const srw_lock&) = delete;
    srw_lock& operator=(const srw_lock&) = delete;

    SRWLOCK native = SRWLOCK_INIT;
};

class shared_lock {
public:
    explicit shared_lock(srw_lock& lock) noexcept
        : lock_(lock)
    {
        AcquireSRWLockShared(&lock_.native);
    }
    ~shared_lock() { ReleaseSRWLockShared(&lock_.native); }
    shared_lock(const shared_lock&) = delete;
    shared_lock& operator=(const shared_lock&) = delete;

private:
    srw_lock& lock_;
};

class exclusive_lock {
public:
    explicit exclusive_lock(srw_lock& lock) noexcept
        : lock_(lock)
    {
        AcquireSRWLockExclusive(&lock_.native);
    }
    ~exclusive_lock() { ReleaseSRWLockExclusive(&lock_.native); }
    exclusive_lock(const exclusive_lock&) = delete;
    exclusive_lock& operator=(const exclusive_lock&) = delete;

private:
    srw_lock& lock_;
};

} // namespace win
