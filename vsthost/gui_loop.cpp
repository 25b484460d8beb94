#include "vsthost/gui_loop.h"

#include "vsthost/pipe_client.h"

#include <ole2.h>
#include <windows.h>

namespace {

constexpr DWORD idle_period = 30; // ms

} // namespace

vsthost::gui_loop::gui_loop()
    : wanted_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    , done_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    , woken_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
{
    OleInitialize(nullptr);
}

vsthost::gui_loop::~gui_loop()
{
    OleUninitialize();
}

void vsthost::gui_loop::run_job()
{
    try {
        (*job_)();
    } catch (...) {
        failure_ = std::current_exception();
    }
    SetEvent(done_.get());
}

void vsthost::gui_loop::run(const std::function<void()>& idle)
{
    const HANDLE wanted = wanted_.get();
    const HANDLE events[] = {wanted, woken_.get()};
    bool idle_wanted = false;
    ULONGLONG due = 0;
    for (;;) {
        // While idle() is due the wake event is left alone: it wakes again afterwards if it was signalled.
        const ULONGLONG now = GetTickCount64();
        if (idle_wanted && now >= due) {
            idle_wanted = false;
            idle();
        }
        const DWORD limit = idle_wanted ? static_cast<DWORD>(due - now) : INFINITE;
        const DWORD reason =
            MsgWaitForMultipleObjectsEx(idle_wanted ? 1 : 2, events, limit, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        if (reason == WAIT_OBJECT_0) {
            run_job();
            continue;
        }
        if (reason == WAIT_TIMEOUT)
            continue;
        if (!idle_wanted && reason == WAIT_OBJECT_0 + 1) {
            idle_wanted = true;
            due = GetTickCount64() + idle_period;
            continue;
        }
        MSG message;
        // A WM_QUIT that an effect posts is ignored: the pipe decides when the program ends.
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
            if (WaitForSingleObject(wanted, 0) == WAIT_OBJECT_0)
                run_job();
        }
    }
}

void vsthost::gui_loop::call(pipe_client& pipe, const std::function<void()>& job)
{
    job_ = &job;
    failure_ = nullptr;
    ResetEvent(done_.get());
    SetEvent(wanted_.get());
    pipe.wait_for(done_.get());
    if (failure_)
        std::rethrow_exception(failure_);
}
