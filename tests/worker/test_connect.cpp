// The pipe server: names, and every way a connect ends.

#include "pipe_pair.h"
#include "raw_worker.h"

#include "support/patched_import.h"
#include "win/utf.h"
#include "worker/abort.h"
#include "worker/winPipeServerLite.h"

#include <doctest/doctest.h>

#include <chrono>
#include <set>
#include <string>

using namespace Nv;

namespace {

HRESULT WINAPI fixed_guid(GUID* guid)
{
    *guid = {0x12345678, 0x9ABC, 0xDEF0, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
    return S_OK;
}

bool asked_for_first = false;
HANDLE WINAPI first_instance_only(const wchar_t*, DWORD open_mode, DWORD, DWORD, DWORD, DWORD, DWORD,
                                  SECURITY_ATTRIBUTES*)
{
    asked_for_first = (open_mode & FILE_FLAG_FIRST_PIPE_INSTANCE) != 0;
    return CreateEventW(nullptr, TRUE, FALSE, nullptr); // any handle
}

BOOL WINAPI failed_result(HANDLE, OVERLAPPED*, DWORD*, BOOL)
{
    SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
}

win::file_handle open_client(const std::wstring& name)
{
    return win::file_handle(
        CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
}

} // namespace

TEST_CASE("names of pipes")
{
    std::set<std::wstring> names;
    for (int i = 0; i < 1000; ++i)
        names.insert(makePipeName());
    CHECK(names.size() == 1000);
    const patched_import fixed("CoCreateGuid", reinterpret_cast<void*>(&fixed_guid));
    CHECK(makeGuidText() == "78563412bc9af0de0123456789abcdef");
    const std::wstring name = LR"(\\.\pipe\78563412bc9af0de0123456789abcdef)";
    CHECK(makePipeName() == name);
    // Nobody's pipe of that name is taken for ours.
    const patched_import pipe("CreateNamedPipeW", reinterpret_cast<void*>(&first_instance_only));
    winPipeServerLite().createPipe();
    CHECK(asked_for_first);
}

TEST_CASE("connecting")
{
    winPipeServerLite pipe;
    CHECK_THROWS_WITH_AS(pipe.connectWorker(1.0), "could not connect pipe", std::runtime_error);
    const std::wstring name = pipe.createPipe();
    // There is one end for one worker: nobody can make another of that name.
    CHECK_FALSE(win::file_handle(
        CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 2, 0, 0, 0, nullptr)));
    win::file_handle client;
    SUBCASE("the client comes while the connect is pending")
    {
        const before_next_wait opening([&] { client = open_client(name); });
        pipe.connectWorker(5.0);
        CHECK(client);
    }
    SUBCASE("the client comes after a time-out or an abort: nothing is pending any more")
    {
        CHECK_THROWS_WITH_AS(pipe.connectWorker(0.03), "timeout", std::runtime_error);
        CHECK_THROWS_WITH_AS(pipe.connectWorker(0), "timeout", std::runtime_error);
        {
            aborter stop;
            const abortScope scope(stop);
            const before_next_wait aborting([&] { stop.signal(); });
            CHECK_THROWS_WITH_AS(pipe.connectWorker(10.0), "user abort", user_abort);
        }
        client = open_client(name);
        REQUIRE(client);
        pipe.connectWorker(0);
    }
    SUBCASE("the completion fails")
    {
        const patched_import failing("GetOverlappedResult", reinterpret_cast<void*>(&failed_result));
        const before_next_wait opening([&] { client = open_client(name); });
        CHECK_THROWS_WITH_AS(pipe.connectWorker(5.0), "could not connect pipe", std::runtime_error);
        return;
    }
    DWORD written = 0;
    CHECK(WriteFile(client.get(), "abcd", 4, &written, nullptr));
    CHECK(pipe.readWord() == 0x64636261);
    // Nobody else gets in.
    CHECK_FALSE(open_client(name));
    CHECK(GetLastError() == ERROR_PIPE_BUSY);
}

TEST_CASE("a worker that is quicker than the connect")
{
    fake_worker::use_for_launches();
    winPipeServerLite pipe;
    const auto start_and_wait = [&pipe](fake_worker& fake) {
        const std::string name = win::to_utf8(pipe.createPipe());
        pipe.worker = start_raw(fake, name);
        REQUIRE(fake.wait_for("ready"));
    };
    fake_worker quick("connect\nsignal-event {event:ready}\nreply-words 7\nserve\n");
    start_and_wait(quick);
    pipe.connectWorker(0);
    CHECK(pipe.readWord() == 7);
    // Already gone again: fails at once.
    fake_worker hasty("connect\nclose-pipe\nsignal-event {event:ready}\n");
    start_and_wait(hasty);
    CHECK_THROWS_WITH_AS(pipe.connectWorker(10.0), "could not connect pipe", std::runtime_error);
}
