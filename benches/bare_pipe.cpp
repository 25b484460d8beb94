#include "benches/bare_pipe.h"

#include "worker/protocol.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

const wchar_t* const worker_name = sizeof(void*) == 8 ? L"qvxVSTHost64.exe" : L"qvxVSTHost32.exe";
} // namespace

std::wstring own_folder()
{
    wchar_t path[4096];
    std::wstring folder(path, GetModuleFileNameW(nullptr, path, 4096));
    return folder.substr(0, folder.find_last_of(L'\\') + 1);
}

std::wstring answering_folder()
{
    return own_folder() + L"answering\\";
}

void fail(const char* what)
{
    std::fprintf(stderr, "bench: %s (Windows error %lu)\n", what, GetLastError());
    std::exit(3);
}

double processor_seconds(HANDLE process)
{
    FILETIME created, ended, kernel, user;
    if (!GetProcessTimes(process, &created, &ended, &kernel, &user))
        fail("no process times");
    const auto seconds = [](const FILETIME& time) {
        return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) / 1e7;
    };
    return seconds(kernel) + seconds(user);
}

started_peer::started_peer(const std::wstring& program, const std::wstring& arguments)
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    static int number = 0;
    const std::wstring name = L"\\\\.\\pipe\\qvx-bench-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(++number);
    pipe_.reset(CreateNamedPipeW(
        name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, 65536, 65536, 0, nullptr));
    if (!pipe_ || !event_)
        fail("no pipe");
    std::wstring command = L"\"" + program + L"\" " + arguments + (arguments.empty() ? L"" : L" ") + name;
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION started = {};
    // Now and then Wine's own launch of a process fails.
    for (int tries = 0; !CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                        &start, &started);
         ++tries) {
        if (tries == 3)
            fail("a program of this one's does not start");
        Sleep(200);
    }
    CloseHandle(started.hThread);
    process_.reset(started.hProcess);
    OVERLAPPED connect = {};
    connect.hEvent = event_.get();
    if (!ConnectNamedPipe(pipe_.get(), &connect) && GetLastError() == ERROR_IO_PENDING) {
        DWORD ignored = 0;
        if (!GetOverlappedResult(pipe_.get(), &connect, &ignored, TRUE))
            fail("a program of this one's does not connect");
    }
}

started_peer::~started_peer()
{
    pipe_.reset();
    WaitForSingleObject(process_.get(), 5000);
}

bare_pipe::bare_pipe()
    : peer_(answering_folder() + worker_name, L"bare --pipe")
{
}

double bare_pipe::peer_seconds() const
{
    return processor_seconds(peer_.process());
}

void started_peer::write(const void* bytes, size_t count) const
{
    OVERLAPPED operation = {};
    operation.hEvent = event_.get();
    DWORD done = 0;
    if (!WriteFile(pipe_.get(), bytes, static_cast<DWORD>(count), nullptr, &operation) &&
        GetLastError() != ERROR_IO_PENDING)
        fail("the pipe is broken");
    if (!GetOverlappedResult(pipe_.get(), &operation, &done, TRUE) || done != count)
        fail("the pipe is broken");
}

void started_peer::read(void* bytes, size_t count) const
{
    for (size_t have = 0; have < count;) {
        OVERLAPPED operation = {};
        operation.hEvent = event_.get();
        DWORD done = 0;
        if (!ReadFile(pipe_.get(), static_cast<char*>(bytes) + have, static_cast<DWORD>(count - have),
                      nullptr, &operation) &&
            GetLastError() != ERROR_IO_PENDING)
            fail("the pipe is broken");
        if (!GetOverlappedResult(pipe_.get(), &operation, &done, TRUE) || done == 0)
            fail("the pipe is broken");
        have += done;
    }
}

void bare_pipe::exchange(size_t audio_bytes)
{
    const Nv::commandHeader header = {Nv::cmdProcess, static_cast<uint32_t>(audio_bytes)};
    const size_t total = sizeof header + audio_bytes;
    if (out_.size() < total) {
        out_.resize(total);
        in_.resize(total);
    }
    std::memcpy(out_.data(), &header, sizeof header);
    peer_.write(out_.data(), total);
    peer_.read(in_.data(), audio_bytes);
    uint32_t latency = 0;
    peer_.read(&latency, sizeof latency);
}

} // namespace bench
