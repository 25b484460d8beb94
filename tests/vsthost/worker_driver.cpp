#include "vsthost/worker_driver.h"

#include "win/utf.h"

#include <doctest/doctest.h>
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

constexpr DWORD patience = 20000; // ms, for any one answer

std::wstring quoted(const std::vector<std::string>& arguments)
{
    std::string line;
    for (const std::string& argument : arguments) {
        if (!line.empty())
            line += ' ';
        line += argument.find(' ') == std::string::npos ? argument : "\"" + argument + "\"";
    }
    return win::to_utf16(line);
}

std::string pipe_name()
{
    static std::atomic<unsigned> count{0};
    char name[64];
    std::snprintf(name, sizeof name, "\\\\.\\pipe\\vsthost-test-%lu-%u", GetCurrentProcessId(), count++);
    return name;
}

// Both ends of an anonymous pipe; only the second is inherited.
void make_pipe(win::file_handle& ours, win::file_handle& theirs)
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    if (!CreatePipe(&read, &write, &inheritable, 0))
        throw worker_driver::driver_error("no pipe");
    ours = win::file_handle(read);
    theirs = win::file_handle(write);
    SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
}

// Up to the end of `process`, not of the pipe: background processes that a program makes Wine start inherit
// the other end and keep it.
void read_to_end(HANDLE from, HANDLE process, std::string& into)
{
    char buffer[4096];
    for (;;) {
        const bool ended = WaitForSingleObject(process, 5) == WAIT_OBJECT_0;
        DWORD waiting = 0;
        while (PeekNamedPipe(from, nullptr, 0, nullptr, &waiting, nullptr) && waiting != 0) {
            DWORD count = 0;
            if (!ReadFile(from, buffer, sizeof buffer, &count, nullptr))
                return;
            into.append(buffer, count);
        }
        if (ended)
            return;
    }
}

} // namespace

namespace worker_driver {

std::string dist()
{
    const char* const folder = std::getenv("QVX_DIST");
    if (folder == nullptr)
        throw driver_error("QVX_DIST is not set: run the tests with ./test");
    return folder;
}

std::string worker_path(const std::string& arch)
{
    return dist() + "\\x64\\qvxVSTHost" + (arch == "x64" ? "64" : "32") + ".exe";
}

std::string effect_path(const std::string& arch, const std::string& file)
{
    return dist() + "\\effects\\" + arch + "\\" + file;
}

std::vector<uint8_t> read_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw driver_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::vector<std::string>& arches()
{
    static const std::vector<std::string> found = [] {
        std::vector<std::string> result;
        for (const char* const arch : {"x64", "x86"}) {
            // The 32-bit build of the tests is for systems that run nothing else.
            const bool can = std::string(arch) == "x86" || sizeof(void*) == 8;
            if (can &&
                GetFileAttributesW(win::to_utf16(worker_path(arch)).c_str()) != INVALID_FILE_ATTRIBUTES)
                result.push_back(arch);
        }
        return result;
    }();
    return found;
}

worker::worker(const launch& how)
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    const std::string name = pipe_name();
    pipe_ = win::file_handle(
        CreateNamedPipeW(win::to_utf16(name).c_str(),
                         PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE, 0, 1,
                         65536, 65536, 0, nullptr));
    if (!pipe_)
        throw driver_error("no pipe server");
    const std::string program = worker_path(how.arch);
    const bool edits = !how.editor_mode.empty();
    std::vector<std::string> arguments{program,         edits ? how.editor_mode : "process", "--vst", how.vst,
                                       "--vst-version", std::to_string(how.vst_version)};
    const std::vector<std::string> stream{"--protocol", "chunked", "--float64", how.float64 ? "1" : "0"};
    const std::vector<std::string>& own = edits ? how.editor_options : stream;
    arguments.insert(arguments.end(), own.begin(), own.end());
    for (const std::string& each :
         {std::string("--formattag"), std::string("3"), std::string("--bits"), std::string("64"),
          std::string("--process"), std::string(how.realtime || edits ? "realtime" : "offline"),
          std::string("--pipe"), name})
        arguments.push_back(each);
    start(program, arguments, false, how.environment);
    if (how.reads_errors)
        read_errors();

    OVERLAPPED connect{};
    connect.hEvent = event_.get();
    if (!ConnectNamedPipe(pipe_.get(), &connect) && GetLastError() == ERROR_IO_PENDING) {
        DWORD none = 0;
        if (WaitForSingleObject(event_.get(), patience) != WAIT_OBJECT_0) {
            CancelIo(pipe_.get());
            GetOverlappedResult(pipe_.get(), &connect, &none, TRUE);
            throw driver_error("the worker does not connect");
        }
    }
}

worker::worker(const std::string& arch, const std::vector<std::string>& arguments,
               const std::map<std::string, std::string>& environment)
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    std::vector<std::string> all{worker_path(arch)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    start(all[0], all, true, environment);
    read_errors();
}

void worker::start(const std::string& program, const std::vector<std::string>& arguments, bool with_output,
                   const std::map<std::string, std::string>& environment)
{
    win::file_handle their_error;
    win::file_handle output_end;
    win::file_handle their_output;
    make_pipe(error_end_, their_error);
    if (with_output)
        make_pipe(output_end, their_output);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESHOWWINDOW | STARTF_FORCEOFFFEEDBACK | STARTF_USESTDHANDLES;
    startup.wShowWindow = SW_HIDE;
    startup.hStdInput = INVALID_HANDLE_VALUE;
    startup.hStdOutput = with_output ? their_output.get() : INVALID_HANDLE_VALUE;
    startup.hStdError = their_error.get();
    for (const auto& [name, value] : environment)
        SetEnvironmentVariableW(win::to_utf16(name).c_str(), win::to_utf16(value).c_str());
    PROCESS_INFORMATION started{};
    std::wstring line = quoted(arguments);
    const BOOL created = CreateProcessW(win::to_utf16(program).c_str(), line.data(), nullptr, nullptr, TRUE,
                                        0, nullptr, nullptr, &startup, &started);
    const DWORD error = GetLastError();
    for (const auto& [name, value] : environment)
        SetEnvironmentVariableW(win::to_utf16(name).c_str(), nullptr);
    if (!created)
        throw driver_error("cannot start " + program + " (" + std::to_string(error) + ")");
    CloseHandle(started.hThread);
    process_ = win::kernel_handle(started.hProcess);
    if (with_output)
        output_reader_ = std::thread(
            [this, end = std::move(output_end)] { read_to_end(end.get(), process_.get(), output_); });
}

void worker::read_errors()
{
    error_reader_ = std::thread([this] { read_to_end(error_end_.get(), process_.get(), errors_); });
}

worker::~worker()
{
    if (WaitForSingleObject(process_.get(), 0) != WAIT_OBJECT_0)
        TerminateProcess(process_.get(), 1);
    if (error_reader_.joinable())
        error_reader_.join();
    if (output_reader_.joinable())
        output_reader_.join();
}

void worker::transfer(bool writes, void* bytes, size_t size)
{
    auto* position = static_cast<char*>(bytes);
    while (size != 0) {
        OVERLAPPED operation{};
        operation.hEvent = event_.get();
        ResetEvent(event_.get());
        const auto piece = static_cast<DWORD>(size < 0x1000000 ? size : 0x1000000);
        const BOOL done = writes ? WriteFile(pipe_.get(), position, piece, nullptr, &operation)
                                 : ReadFile(pipe_.get(), position, piece, nullptr, &operation);
        if (!done && GetLastError() != ERROR_IO_PENDING)
            throw driver_error("the pipe broke");
        DWORD count = 0;
        if (WaitForSingleObject(event_.get(), patience) != WAIT_OBJECT_0) {
            CancelIo(pipe_.get());
            GetOverlappedResult(pipe_.get(), &operation, &count, TRUE);
            throw driver_error("the worker does not answer");
        }
        if (!GetOverlappedResult(pipe_.get(), &operation, &count, TRUE) || count == 0)
            throw driver_error("the pipe broke");
        position += count;
        size -= count;
    }
}

size_t worker::waiting() const
{
    DWORD count = 0;
    if (!PeekNamedPipe(pipe_.get(), nullptr, 0, nullptr, &count, nullptr))
        throw driver_error("the pipe broke");
    return count;
}

void worker::write(const void* bytes, size_t size)
{
    transfer(true, const_cast<void*>(bytes), size);
}

void worker::read(void* bytes, size_t size)
{
    transfer(false, bytes, size);
}

void worker::send(uint32_t code, const void* payload, size_t size)
{
    const Nv::commandHeader header{code, static_cast<uint32_t>(size)};
    std::vector<char> message(sizeof header + size);
    std::memcpy(message.data(), &header, sizeof header);
    if (size != 0)
        std::memcpy(message.data() + sizeof header, payload, size);
    write(message.data(), message.size());
}

void worker::set_state(const std::vector<uint8_t>& state)
{
    send(Nv::cmdSetState, state.data(), state.size());
}

Nv::streamFormat worker::set_format(const Nv::streamFormat& wanted)
{
    send(Nv::cmdSetFormat, &wanted, sizeof wanted);
    Nv::streamFormat reply;
    read(&reply, sizeof reply);
    return reply;
}

processed worker::process(const std::vector<double>& audio, uint32_t channels)
{
    return process(audio, channels, channels);
}

processed worker::process(const std::vector<double>& audio, uint32_t in_channels, uint32_t out_channels)
{
    send(Nv::cmdProcess, audio.data(), audio.size() * sizeof(double));
    processed result;
    result.audio.resize(audio.size() / in_channels * out_channels);
    read(result.audio.data(), result.audio.size() * sizeof(double));
    read(&result.latency, sizeof result.latency);
    return result;
}

std::vector<double> worker::drain()
{
    send(Nv::cmdDrainTail, nullptr, 0);
    uint32_t size = 0;
    read(&size, sizeof size);
    std::vector<double> tail(size / sizeof(double));
    read(tail.data(), tail.size() * sizeof(double));
    return tail;
}

void worker::reset()
{
    send(Nv::cmdReset, nullptr, 0);
}

uint32_t worker::wait(unsigned milliseconds)
{
    if (WaitForSingleObject(process_.get(), milliseconds) != WAIT_OBJECT_0)
        throw driver_error("the worker still runs");
    DWORD code = 0;
    GetExitCodeProcess(process_.get(), &code);
    return code;
}

std::string worker::errors()
{
    if (error_reader_.get_id() == std::thread::id() && errors_.empty())
        read_errors();
    if (error_reader_.joinable())
        error_reader_.join();
    return errors_;
}

std::string worker::output()
{
    if (output_reader_.joinable())
        output_reader_.join();
    return output_;
}

} // namespace worker_driver
