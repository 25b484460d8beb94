#include "player/services/thread_pool.h"

#include "sdk/exceptions.h"

#include <process.h>

namespace player {

namespace {

// The call came late to Windows and its import libraries.
void name_thread(HANDLE thread, const wchar_t* name) noexcept
{
    using function = HRESULT WINAPI(HANDLE, PCWSTR);
    if (const HMODULE kernel = GetModuleHandleW(L"kernel32.dll")) {
        if (const FARPROC address = GetProcAddress(kernel, "SetThreadDescription"))
            reinterpret_cast<function*>(reinterpret_cast<void (*)()>(address))(thread, name);
    }
}

unsigned __stdcall run_work(void* counted) noexcept
{
    const auto work = service_ptr_t<runnable>::attach(static_cast<runnable*>(counted));
    work->run();
    return 0;
}

} // namespace

void thread_pool::start(runnable& work, const wchar_t* name)
{
    const std::lock_guard lock(mutex_);
    forget_ended();
    threads_.emplace_back(); // before the thread: an allocation that fails must not lose a running one
    work.service_add_ref();
    // _beginthreadex rather than CreateThread: the run-time library keeps state per thread. Named before it
    // runs, for work may give its thread a better name.
    const uintptr_t thread = _beginthreadex(nullptr, 0, &run_work, &work, CREATE_SUSPENDED, nullptr);
    if (thread == 0) {
        const DWORD code = GetLastError();
        threads_.pop_back();
        work.service_release();
        throw exception_win32(code ? code : ERROR_NOT_ENOUGH_MEMORY);
    }
    threads_.back().reset(reinterpret_cast<HANDLE>(thread));
    name_thread(threads_.back().get(), name);
    ResumeThread(threads_.back().get());
}

void thread_pool::forget_ended()
{
    std::erase_if(threads_, [](const win::kernel_handle& thread) {
        return WaitForSingleObject(thread.get(), 0) == WAIT_OBJECT_0;
    });
}

bool thread_pool::wait_until_idle(std::chrono::milliseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        win::kernel_handle one;
        {
            const std::lock_guard lock(mutex_);
            forget_ended();
            if (threads_.empty())
                return true;
            if (!DuplicateHandle(GetCurrentProcess(), threads_.back().get(), GetCurrentProcess(), one.put(),
                                 0, FALSE, DUPLICATE_SAME_ACCESS))
                return false;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now())
                .count();
        if (left <= 0 || WaitForSingleObject(one.get(), static_cast<DWORD>(left)) != WAIT_OBJECT_0)
            return false;
    }
}

} // namespace player
