#pragma once
// A reader/writer lock for std::shared_lock and std::unique_lock. Not recursive, also not for readers.
//
// std::shared_mutex of the MinGW runtime was seen to let readers in beside a writer on x86, so Windows' own
// lock is used there.

#ifdef _WIN32
#include <windows.h>

class reader_writer_lock {
public:
    reader_writer_lock() = default;
    reader_writer_lock(const reader_writer_lock&) = delete;
    reader_writer_lock& operator=(const reader_writer_lock&) = delete;

    void lock() noexcept { AcquireSRWLockExclusive(&native_); }
    void unlock() noexcept { ReleaseSRWLockExclusive(&native_); }
    void lock_shared() noexcept { AcquireSRWLockShared(&native_); }
    void unlock_shared() noexcept { ReleaseSRWLockShared(&native_); }

private:
    SRWLOCK native_ = SRWLOCK_INIT;
};
#else
#include <shared_mutex>

using reader_writer_lock = std::shared_mutex;
#endif
