#pragma once
// A named pipe with both ends in the test: the component's stream on one, plain calls on the other.

#include "support/patched_import.h"
#include "win/handle.h"
#include "worker/overlapped.h"
#include "worker/pipeName.h"

#include <windows.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

struct pipe_pair {
    // `access`: as the stream's end has it.
    explicit pipe_pair(DWORD access)
    {
        const std::wstring name = Nv::makePipeName();
        server = Nv::createPipe(name, access);
        peer.reset(CreateFileW(name.c_str(), access == PIPE_ACCESS_INBOUND ? GENERIC_WRITE : GENERIC_READ, 0,
                               nullptr, OPEN_EXISTING, 0, nullptr));
        if (!peer)
            throw std::runtime_error("no pipe for the test");
    }
    void write(std::string_view bytes)
    {
        DWORD written = 0;
        if (!WriteFile(peer.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
            written != bytes.size())
            throw std::runtime_error("the test's end of the pipe broke");
    }

    win::file_handle server, peer;
};

struct input_pair : pipe_pair {
    input_pair()
        : pipe_pair(PIPE_ACCESS_INBOUND)
    {
        stream.handle = std::move(server);
    }
    Nv::streamInOverlapped stream;
};

struct output_pair : pipe_pair {
    output_pair()
        : pipe_pair(PIPE_ACCESS_OUTBOUND)
    {
        stream.handle = std::move(server);
    }
    Nv::streamOutOverlapped stream;
};

// Calls `action` once, on the thread that waits, just before the program's next WaitForMultipleObjects: the
// moment when an operation is under way and nothing but the wait is left to do.
class before_next_wait {
public:
    explicit before_next_wait(std::function<void()> action)
        : action_(std::move(action))
        , patch_("WaitForMultipleObjects", reinterpret_cast<void*>(&wait))
    {
        real_ = patch_.original<wait_t>();
        pending_ = &action_;
    }
    ~before_next_wait() { pending_ = nullptr; }

private:
    using wait_t = DWORD(WINAPI*)(DWORD, const HANDLE*, BOOL, DWORD);
    static DWORD WINAPI wait(DWORD count, const HANDLE* handles, BOOL all, DWORD limit)
    {
        if (std::function<void()>* const action = pending_.exchange(nullptr))
            (*action)();
        return real_(count, handles, all, limit);
    }

    static inline std::atomic<std::function<void()>*> pending_{nullptr};
    static inline wait_t real_ = nullptr;
    std::function<void()> action_;
    patched_import patch_;
};
