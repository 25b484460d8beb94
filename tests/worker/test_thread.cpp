// Nv::thread: its life, its aborter, its priority and its name.

#include "support/patched_import.h"
#include "win/handle.h"
#include "worker/thread.h"
#include "worker/wait.h"

#include <doctest/doctest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>

using namespace Nv;

namespace {

std::wstring description_of_current_thread()
{
    using get_description_t = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    const auto get = reinterpret_cast<get_description_t>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"KernelBase.dll"), "GetThreadDescription")));
    PWSTR text = nullptr;
    if (!get || FAILED(get(GetCurrentThread(), &text)))
        return L"?";
    std::wstring copy = text;
    LocalFree(text);
    return copy;
}

} // namespace

TEST_CASE("threads run, end and run again")
{
    thread worker("job \xc3\xa4");
    CHECK_FALSE(worker.isRunning());
    worker.join(); // nothing to join
    for (int run = 1; run <= 3; ++run) {
        int seen = 0;
        std::wstring name;
        worker.start(
            [&, run] {
                seen = run;
                name = description_of_current_thread();
                CHECK(currentAborter == nullptr);
                CHECK(GetThreadPriority(GetCurrentThread()) == THREAD_PRIORITY_NORMAL);
            },
            THREAD_PRIORITY_NORMAL);
        CHECK(worker.isRunning());
        worker.join();
        CHECK_FALSE(worker.isRunning());
        CHECK(seen == run);
        CHECK(name == L"job \u00e4");
    }
    SUBCASE("whatever leaves the function ends the thread quietly")
    {
        worker.start([] { throw std::runtime_error("text"); }, THREAD_PRIORITY_NORMAL);
        worker.join();
        worker.start([] { throw 7; }, THREAD_PRIORITY_NORMAL);
        worker.join();
    }
}

TEST_CASE("a thread's own aborter ends what waits in it")
{
    std::atomic<int> aborted{0};
    const win::kernel_handle running(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const auto wait_for_abort = [&] {
        CHECK(currentAborter != nullptr);
        SetEvent(running.get());
        try {
            waitForAbort();
        } catch (const user_abort&) {
            ++aborted;
            throw;
        }
    };
    // An abort before the function runs would keep it from being called at all.
    const auto start_waiting = [&](thread& worker) {
        worker.start(wait_for_abort, THREAD_PRIORITY_NORMAL);
        REQUIRE(WaitForSingleObject(running.get(), 10000) == WAIT_OBJECT_0);
    };
    SUBCASE("signalled by abort and by the next start, and fresh in each run")
    {
        thread worker("", thread::ownAborter);
        start_waiting(worker);
        worker.abort();
        worker.join();
        CHECK(aborted == 1);
        start_waiting(worker);
        start_waiting(worker); // ends the run before
        CHECK(aborted == 2);
        worker.abort();
        worker.join();
        CHECK(aborted == 3);
    }
    SUBCASE("signalled by the destructor when asked for")
    {
        {
            thread worker("", thread::ownAborter | thread::abortOnDestruct);
            start_waiting(worker);
        }
        CHECK(aborted == 1);
    }
}

TEST_CASE("a thread's own aborter is not signalled by the destructor unless asked for: that waits")
{
    waitable go_on;
    bool ended = false;
    thread helper;
    {
        thread worker("", thread::ownAborter);
        worker.start(
            [&] {
                waitableImpl* const waited = &go_on;
                CHECK(waitAny(&waited, 1, 10) == 0);
                ended = true;
            },
            THREAD_PRIORITY_NORMAL);
        helper.start([&] { SetEvent(go_on.event()); }, THREAD_PRIORITY_NORMAL);
    }
    CHECK(ended);
}

TEST_CASE("a thread aborted before it has come to its function does not call that")
{
    // The name is set before the scope is entered; abort there.
    static thread* aborting;
    thread named("x", thread::ownAborter);
    aborting = &named;
    const patched_import hook("GetModuleHandleW", reinterpret_cast<void*>(+[](const wchar_t*) -> HMODULE {
                                  aborting->abort();
                                  return nullptr;
                              }));
    bool called = false;
    named.start([&] { called = true; }, THREAD_PRIORITY_NORMAL);
    named.join();
    CHECK_FALSE(called);
}

TEST_CASE("joining raises a thread that is below the caller")
{
    const auto priority_at_end = [](int own) {
        waitable joined;
        int seen = THREAD_PRIORITY_ERROR_RETURN;
        thread worker;
        worker.start(
            [&] {
                // Until the joining thread has raised it, for two seconds at most.
                for (int i = 0; i < 200 && (seen = GetThreadPriority(GetCurrentThread())) == own; ++i) {
                    waitableImpl* const waited = &joined;
                    waitAny(&waited, 1, 0.01);
                    if (own >= THREAD_PRIORITY_NORMAL)
                        break;
                }
            },
            own);
        worker.join();
        return seen;
    };
    CHECK(priority_at_end(THREAD_PRIORITY_BELOW_NORMAL) == THREAD_PRIORITY_NORMAL);
    CHECK(priority_at_end(THREAD_PRIORITY_ABOVE_NORMAL) == THREAD_PRIORITY_ABOVE_NORMAL);
}
