#include "vsthost/gui_loop.h"

#include "vsthost/pipe_client.h"

#include <ole2.h>
#include <windows.h>

vsthost::gui_loop::gui_loop()
    : wanted_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    , done_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
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

void vsthost::gui_loop::run()
{
    const HANDLE wanted = wanted_.get();
    for (;;) {
        const DWORD reason =
            MsgWaitForMultipleObjectsEx(1, &wanted, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        if (reason == WAIT_OBJECT_0) {
            run_job();
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
