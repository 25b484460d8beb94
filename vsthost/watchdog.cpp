#include "vsthost/process_shell.h"

#include "vsthost/early_thread.h"
#include "vsthost/report.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>

namespace {

using vsthost::call_kind;

constexpr DWORD default_limit = 30000; // ms
constexpr DWORD ready_limit = 5000;    // ms

// One thread's running call. The thread only stores; the watchdog notices by `count` that a call is still the
// one it saw last time, so the audio thread never reads a clock.
struct slot {
    std::atomic<const char*> what{nullptr};
    std::atomic<call_kind> kind{call_kind::other};
    std::atomic<uint32_t> count{0};
    std::atomic<DWORD> thread{0};
    // The watchdog's own.
    uint32_t seen = 0;
    DWORD stuck_for = 0;
};
slot slots[2];
thread_local slot* mine = nullptr;

struct settings {
    DWORD limit;
    HANDLE pipe;
    HANDLE ready; // the thread needs nothing of the loader any more
};

DWORD limit_from_environment()
{
    wchar_t text[16];
    const DWORD length = GetEnvironmentVariableW(L"QVX_VSTHOST_WATCHDOG_MS", text, std::size(text));
    if (length == 0 || length >= std::size(text))
        return default_limit;
    const unsigned long value = std::wcstoul(text, nullptr, 10);
    return value == 0 ? default_limit : value;
}

BOOL CALLBACK find_visible(HWND window, LPARAM found)
{
    if (!IsWindowVisible(window))
        return TRUE;
    *reinterpret_cast<bool*>(found) = true;
    return FALSE;
}

bool shows_window(DWORD thread)
{
    bool visible = false;
    EnumThreadWindows(thread, find_visible, reinterpret_cast<LPARAM>(&visible));
    return visible;
}

bool player_gone(HANDLE pipe)
{
    DWORD available = 0;
    if (pipe == nullptr || PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr))
        return false;
    const DWORD error = GetLastError();
    return error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED;
}

// True while the same call has been running since the last look.
bool look(slot& watched, DWORD period)
{
    const char* const what = watched.what.load(std::memory_order_acquire);
    const uint32_t count = watched.count.load(std::memory_order_acquire);
    if (what == nullptr || count != watched.seen) {
        watched.seen = count;
        watched.stuck_for = 0;
        return false;
    }
    if (watched.kind.load(std::memory_order_relaxed) == call_kind::load && shows_window(watched.thread))
        watched.stuck_for = 0;
    else
        watched.stuck_for += period;
    return true;
}

DWORD WINAPI run(void* argument)
{
    const settings now = *static_cast<settings*>(argument);
    // The first use of windows on a thread may load libraries, which is impossible while a module hangs in
    // being loaded.
    shows_window(GetCurrentThreadId());
    SetEvent(now.ready);
    const DWORD period = std::clamp<DWORD>(now.limit / 16, 10, 500);
    for (;;) {
        // Counted in rounds, not read from a clock: a machine that slept in between counts one round.
        Sleep(period);
        for (slot& watched : slots) {
            if (!look(watched, period))
                continue;
            if (player_gone(now.pipe))
                vsthost::end_process(vsthost::exit_code::ok);
            if (watched.stuck_for < now.limit)
                continue;
            const char* const what = watched.what.load();
            vsthost::report("the effect did not return from " +
                            std::string(what != nullptr ? what : "a call") + " within " +
                            std::to_string((now.limit + 500) / 1000) + " seconds");
            vsthost::end_process(vsthost::exit_code::effect_hangs);
        }
    }
}

DWORD WINAPI end_late(void* limit)
{
    Sleep(static_cast<DWORD>(reinterpret_cast<uintptr_t>(limit)));
    vsthost::report("the effect's module keeps the program from ending");
    vsthost::end_process(vsthost::exit_code::exit_stuck);
}

} // namespace

void vsthost::start_watchdog(HANDLE pipe)
{
    static settings now;
    now = {limit_from_environment(), pipe, CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    if (const HANDLE thread = CreateThread(nullptr, 0, run, &now, 0, nullptr)) {
        WaitForSingleObject(now.ready, ready_limit);
        CloseHandle(thread);
    }
}

void vsthost::watch_this_thread(thread_role role)
{
    mine = &slots[role == thread_role::gui ? 0 : 1];
    mine->thread = GetCurrentThreadId();
}

vsthost::watched_call::watched_call(const char* what, call_kind kind) noexcept
    : outer_(nullptr)
    , outer_kind_(call_kind::other)
{
    if (mine == nullptr)
        return;
    outer_ = mine->what.load(std::memory_order_relaxed);
    outer_kind_ = mine->kind.load(std::memory_order_relaxed);
    mine->kind.store(kind, std::memory_order_relaxed);
    mine->count.store(mine->count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    mine->what.store(what, std::memory_order_release);
}

vsthost::watched_call::~watched_call()
{
    if (mine == nullptr)
        return;
    mine->count.store(mine->count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    mine->kind.store(outer_kind_, std::memory_order_relaxed);
    mine->what.store(outer_, std::memory_order_release);
}

void vsthost::start_exit_deadline(unsigned milliseconds)
{
    start_early_thread(end_late, reinterpret_cast<void*>(uintptr_t{milliseconds}));
}
