#pragma once
// The program's first thread: loads the effect, sets it up, and runs the message loop that effects and their
// windows need. Another thread hands it one job at a time and waits.

#include "win/handle.h"

#include <windows.h>

#include <exception>
#include <functional>

namespace vsthost {

class pipe_client;

class gui_loop {
public:
    // On the GUI thread; initialises OLE.
    gui_loop();
    ~gui_loop();
    gui_loop(const gui_loop&) = delete;
    gui_loop& operator=(const gui_loop&) = delete;

    // On the GUI thread: dispatches messages and jobs until the process ends. `idle` runs a moment after
    // wake_event() was signalled, at most 33 times a second.
    [[noreturn]] void run(const std::function<void()>& idle);
    HANDLE wake_event() const noexcept { return woken_.get(); } // by any thread

    // On the pipe thread: runs `job` on the GUI thread, before run() was entered as soon as it is, and
    // rethrows what the job throws. Meanwhile `pipe` is watched for the player's end.
    void call(pipe_client& pipe, const std::function<void()>& job);

private:
    void run_job();

    win::kernel_handle wanted_;
    win::kernel_handle done_;
    win::kernel_handle woken_;
    const std::function<void()>* job_ = nullptr;
    std::exception_ptr failure_;
};

} // namespace vsthost
