#include "worker/thread.h"

#include "win/utf.h"

#include <process.h>

#include <memory>

namespace Nv {

struct thread::closure {
    std::function<void()> function;
    thread* owner;
};

thread::~thread()
{
    if ((options_ & abortOnDestruct) != 0)
        abort();
    join();
}

void thread::abort() noexcept
{
    if (aborter_)
        aborter_->signal();
}

void thread::start(std::function<void()> function, int priority)
{
    if (running_) {
        abort();
        join();
    }
    if ((options_ & ownAborter) == 0)
        aborter_.reset();
    else if (aborter_)
        aborter_->reset();
    else
        aborter_.emplace();

    auto passed = std::make_unique<closure>(closure{std::move(function), this});
    handle_.reset(reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, 0, &thread::entry, passed.get(), CREATE_SUSPENDED, nullptr)));
    if (!handle_)
        throw bug_check();
    static_cast<void>(passed.release()); // the thread's from here on
    running_ = true;
    SetThreadPriority(handle_.get(), priority);
    ResumeThread(handle_.get());
}

void thread::join() noexcept
{
    if (!running_)
        return;
    const int callers = GetThreadPriority(GetCurrentThread());
    if (callers > GetThreadPriority(handle_.get()))
        SetThreadPriority(handle_.get(), callers);
    WaitForSingleObject(handle_.get(), INFINITE);
    handle_.reset();
    running_ = false;
}

unsigned __stdcall thread::entry(void* argument)
{
    const std::unique_ptr<closure> passed(static_cast<closure*>(argument));
    try {
        if (!passed->owner->name_.empty())
            setThreadName(passed->owner->name_);
        std::optional<abortScope> scope;
        if (passed->owner->aborter_)
            scope.emplace(*passed->owner->aborter_);
        passed->function();
    } catch (...) {
        // Whoever started the thread learns of failures through what the function reports.
    }
    return 0;
}

void setThreadName(const std::string& utf8) noexcept
{
    using set_description_t = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    set_description_t setDescription = nullptr;
    for (const wchar_t* moduleName : {L"KernelBase.dll", L"kernel32.dll"}) {
        if (const HMODULE module = GetModuleHandleW(moduleName); module && !setDescription)
            setDescription = reinterpret_cast<set_description_t>(
                reinterpret_cast<void*>(GetProcAddress(module, "SetThreadDescription")));
    }
    if (!setDescription)
        return;
    try {
        setDescription(GetCurrentThread(), win::to_utf16(utf8).c_str());
    } catch (...) {
    }
}

} // namespace Nv
