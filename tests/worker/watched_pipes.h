#pragma once
// The named pipes that the program makes while the object lives, and one of them refused. One object at a
// time.

#include "support/patched_import.h"

#include <windows.h>

#include <mutex>
#include <vector>

class watched_pipes {
public:
    struct call {
        DWORD open_mode;
        bool inheritable; // by attributes without a descriptor; false without attributes
    };

    watched_pipes()
        : patch_("CreateNamedPipeW", reinterpret_cast<void*>(&create))
    {
        real_ = patch_.original<decltype(real_)>();
        current_ = this;
    }
    ~watched_pipes() { current_ = nullptr; }

    // The Nth pipe from here is not made.
    void refuse(int nth) { refused_ = nth; }

    std::vector<call> calls;

private:
    static HANDLE WINAPI create(const wchar_t* name, DWORD open_mode, DWORD pipe_mode, DWORD instances,
                                DWORD out_size, DWORD in_size, DWORD limit, SECURITY_ATTRIBUTES* security)
    {
        const std::lock_guard lock(current_->mutex_);
        auto& calls = current_->calls;
        const bool inheritable = security && security->bInheritHandle && !security->lpSecurityDescriptor &&
                                 security->nLength == sizeof(SECURITY_ATTRIBUTES);
        const bool refused = current_->refused_ > 0 && --current_->refused_ == 0;
        calls.push_back({open_mode, inheritable});
        return refused ? INVALID_HANDLE_VALUE
                       : real_(name, open_mode, pipe_mode, instances, out_size, in_size, limit, security);
    }

    static inline watched_pipes* current_ = nullptr;
    static inline decltype(&CreateNamedPipeW) real_ = nullptr;
    std::mutex mutex_;
    int refused_ = 0;
    patched_import patch_;
};
