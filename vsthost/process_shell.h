#pragma once
// What surrounds an effect in a worker process, whatever the mode: no box ever waits for a click, faults
// print a line and end the process, and so does a call into the effect that does not return.

#include "vsthost/exit_codes.h"

#include <windows.h>

namespace vsthost {

// First thing in main, on the thread that will be the GUI thread.
void install_fault_handling();

// Room on the calling thread's stack in which its own overflow is reported.
void reserve_stack_for_faults();

// Ends the process at once, after the lines that wait on standard error (a second at most).
[[noreturn]] void end_process(exit_code code);
// The same with the error's line.
[[noreturn]] void end_process(const fatal_error& error);

// Starts a deadline for the orderly way out; when it passes first, the process ends with exit_stuck.
void start_exit_deadline(unsigned milliseconds);

// The watchdog: ends the process with effect_hangs when a watched call takes longer than the limit (30 s, or
// QVX_VSTHOST_WATCHDOG_MS from the environment). Time that the machine slept does not count, nor do load
// calls while the thread shows a window (a registration dialog, say). While a call runs it also looks whether
// the player still holds its end of `pipe` (not owned; null for none), and ends the process when it does not.
void start_watchdog(HANDLE pipe);

enum class thread_role { gui, audio };
// Which slot the calling thread's calls are watched in; call once at a thread's start.
void watch_this_thread(thread_role role);

enum class call_kind { load, other };

// Marks a call into the effect for as long as it lives; costs two stores. `what` completes the line "the
// effect did not return from ..." and must outlive the call.
class watched_call {
public:
    explicit watched_call(const char* what, call_kind kind = call_kind::other) noexcept;
    ~watched_call();
    watched_call(const watched_call&) = delete;
    watched_call& operator=(const watched_call&) = delete;

private:
    const char* outer_;
    call_kind outer_kind_;
};

// Audio thread, once at its start: denormals are zero, an overflow of its stack can be reported, and in
// realtime mode the multimedia scheduler's "Pro Audio" class.
void prepare_audio_thread(bool realtime);

// The calling thread's floating-point control state, put back at the end: old modules change it.
class saved_float_state {
public:
    saved_float_state() noexcept;
    ~saved_float_state();
    saved_float_state(const saved_float_state&) = delete;
    saved_float_state& operator=(const saved_float_state&) = delete;

private:
    unsigned sse_;
    unsigned short x87_;
};

} // namespace vsthost
