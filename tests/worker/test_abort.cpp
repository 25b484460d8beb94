// How quickly an abort is answered, wherever the thread waits, and in which state it leaves things.

#include "pipe_pair.h"
#include "raw_worker.h"

#include "support/patched_import.h"
#include "worker/abort.h"
#include "worker/winPipeServerLite.h"

#include <doctest/doctest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace Nv;

namespace {

constexpr ULONG_PTR status_pending = 0x103;

decltype(&CancelIo) real_cancel = nullptr;
decltype(&GetOverlappedResult) real_result = nullptr;
thread_local int cancelled = 0;              // calls of CancelIo
thread_local int completed_after_cancel = 0; // results that were waited for afterwards, not pending any more

BOOL WINAPI watched_cancel(HANDLE file)
{
    ++cancelled;
    return real_cancel(file);
}

BOOL WINAPI watched_result(HANDLE file, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait)
{
    const BOOL result = real_result(file, overlapped, transferred, wait);
    const DWORD code = GetLastError();
    if (cancelled > 0 && wait && overlapped->Internal != status_pending)
        ++completed_after_cancel;
    SetLastError(code);
    return result;
}

struct outcome {
    bool aborted = false;
    bool restored = false;
    int cancelled = 0;
    int completed = 0;
    double milliseconds = 0;
};

// Runs `operation` on a thread of its own, aborts it as soon as it waits, and tells how that went.
outcome abort_while_waiting(const std::function<void()>& operation)
{
    using clock = std::chrono::steady_clock;
    const win::kernel_handle waiting(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const before_next_wait hook([&] { SetEvent(waiting.get()); });
    aborter outer, stop;
    outcome result;
    clock::time_point answered;
    std::thread thread([&] {
        const abortScope outerScope(outer);
        cancelled = completed_after_cancel = 0;
        try {
            const abortScope scope(stop);
            operation();
        } catch (const user_abort&) {
            answered = clock::now();
            result.aborted = true;
        }
        result.restored = currentAborter == &outer;
        result.cancelled = cancelled;
        result.completed = completed_after_cancel;
    });
    const bool waited = WaitForSingleObject(waiting.get(), 10000) == WAIT_OBJECT_0;
    const clock::time_point began = clock::now();
    stop.signal();
    thread.join();
    REQUIRE(waited);
    result.milliseconds = std::chrono::duration<double, std::milli>(answered - began).count();
    return result;
}

} // namespace

TEST_CASE("an abort is answered in 50 ms while connecting, reading, writing and waiting for a process")
{
    fake_worker::use_for_launches();
    fake_worker fake("hang\n");
    const auto process = start_raw(fake);
    const patched_import cancel("CancelIo", reinterpret_cast<void*>(&watched_cancel));
    const patched_import overlapped("GetOverlappedResult", reinterpret_cast<void*>(&watched_result));
    real_cancel = cancel.original<decltype(real_cancel)>();
    real_result = overlapped.original<decltype(real_result)>();

    winPipeServerLite listening, connected;
    listening.createPipe();
    input_pair silent;
    output_pair full;
    const std::string much(4 << 20, 'x');
    char byte = 0;
    const struct {
        const char* name;
        std::function<void()> operation;
        bool cancels; // has an operation to take back
    } rows[] = {
        {"connect", [&] { listening.connectWorker(10.0); }, true},
        {"read", [&] { silent.stream.read(&byte, 1); }, true},
        {"readLine",
         [&] {
             std::string line;
             readLine(silent.stream, line, 100);
         },
         true},
        {"write", [&] { full.stream.write(much.data(), much.size()); }, true},
        {"process", [&] { process->waitForExit(INFINITE); }, false},
    };
    for (const auto& row : rows) {
        CAPTURE(row.name);
        const outcome seen = abort_while_waiting(row.operation);
        CHECK(seen.aborted);
        CHECK(seen.restored);
        CHECK(seen.milliseconds < 50);
        CHECK(seen.cancelled == (row.cancels ? 1 : 0));
        CHECK(seen.completed == (row.cancels ? 1 : 0));
    }
    process->terminate();
}
