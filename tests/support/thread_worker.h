#pragma once
// Workers that are threads of this program, where a test needs thousands of them: while the object lives, a
// launch of the component from folder() starts a thread instead of a process. One object at a time. Other
// programs are started as ever.

#include "support/patched_import.h"
#include "win/handle.h"

#include <windows.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

class thread_worker {
public:
    // The worker's ends of its pipes; blocking calls on them end when the component closes its own. `write`
    // and `read` are false then.
    struct ends {
        win::file_handle pipe;
        win::file_handle error;

        bool read(void* bytes, size_t byte_count);
        bool write(const void* bytes, size_t byte_count);
    };

    // `play` is called on each worker's thread and throws nothing; the worker has ended when it returns.
    explicit thread_worker(std::function<void(ends&)> play);
    ~thread_worker(); // waits for all of them
    thread_worker(const thread_worker&) = delete;
    thread_worker& operator=(const thread_worker&) = delete;

    // Nv::setComponentPath(folder() + "component.dll") sends launches here.
    static std::string folder() { return "C:\\thread workers\\"; }
    // Of the calling thread: whether it is such a worker.
    static bool is_worker() noexcept;

private:
    static BOOL WINAPI create(const wchar_t* application, wchar_t* line, SECURITY_ATTRIBUTES* process,
                              SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags, void* environment,
                              const wchar_t* folder, STARTUPINFOW* startup, PROCESS_INFORMATION* started);
    static DWORD WINAPI run(void* each);

    struct launch;
    std::function<void(ends&)> play_;
    std::mutex mutex_;
    std::condition_variable ended_;
    int running_ = 0;
    patched_import patch_;
};
