#include "vsthost/worker_driver.h"

#include "win/utf.h"
#include "worker/commandLine.h"
#include "worker/pipeName.h"

#include <windows.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace worker_driver {

namespace {

constexpr DWORD patience = 20000; // ms, for any one answer

// "x64" or "x86".
std::string worker_path(const std::string& arch)
{
    return dist() + "\\x64\\" + Nv::workerFileName(arch);
}

} // namespace

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
        // The 32-bit build of the tests is for systems that run nothing else.
        std::vector<std::string> all{"x64", "x86"};
        std::erase_if(all, [](const std::string& arch) {
            return (arch == "x64" && sizeof(void*) == 4) || !std::filesystem::exists(worker_path(arch));
        });
        return all;
    }();
    return found;
}

worker::worker(const launch& how)
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    const std::wstring name = Nv::makePipeName();
    pipe_ = Nv::createPipe(name, PIPE_ACCESS_DUPLEX);
    const bool edits = !how.editor_mode.empty();
    Nv::argumentList options = edits ? how.editor_options : Nv::argumentList{"--protocol", "chunked"};
    if (!edits)
        options.insert(options.end(), {"--float64", how.float64 ? "1" : "0"});
    options.insert(options.end(), {"--formattag", "3", "--bits", "64"});
    options.insert(options.end(), {"--process", edits ? "realtime" : "offline"});
    start(Nv::workerArguments(worker_path(how.arch), edits ? how.editor_mode : "process", how.vst,
                              how.vst_version, options, win::to_utf8(name)),
          how.environment);
    OVERLAPPED connect{};
    connect.hEvent = event_.get();
    if (!ConnectNamedPipe(pipe_.get(), &connect) && GetLastError() == ERROR_IO_PENDING)
        finish(connect);
}

worker::worker(const std::string& arch, const std::vector<std::string>& arguments,
               const std::map<std::string, std::string>& environment)
    : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    std::vector<std::string> all{worker_path(arch)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    start(all, environment);
}

void worker::start(const std::vector<std::string>& arguments,
                   const std::map<std::string, std::string>& environment)
{
    Nv::launchParams params;
    params.executable = arguments[0];
    params.arguments = arguments;
    params.standardError = Nv::stdioMode::pipe;
    params.standardOutput = pipe_ ? Nv::stdioMode::none : Nv::stdioMode::pipe;
    for (const auto& [name, value] : environment)
        SetEnvironmentVariableW(win::to_utf16(name).c_str(), win::to_utf16(value).c_str());
    for (int tries = 0; !process_; ++tries)
        try {
            process_.emplace(params);
        } catch (const std::runtime_error&) { // now and then Wine's own launch of a process fails
            if (tries == 3)
                throw;
            Sleep(200);
        }
    for (const auto& [name, value] : environment)
        SetEnvironmentVariableW(win::to_utf16(name).c_str(), nullptr);
}

worker::~worker()
{
    if (!process_->waitForExit(0))
        process_->terminate();
}

// Not to the end of the pipe: background processes that a program makes Wine start keep the other end.
std::string worker::read_to_end(Nv::streamInOverlapped& stream)
{
    DWORD waiting = 0;
    if (!PeekNamedPipe(stream.handle.get(), nullptr, 0, nullptr, &waiting, nullptr))
        return "";
    std::string all(waiting, '\0');
    stream.readExact(all.data(), waiting);
    return all;
}

size_t worker::finish(OVERLAPPED& operation)
{
    DWORD count = 0;
    const bool in_time = WaitForSingleObject(event_.get(), patience) == WAIT_OBJECT_0;
    if (!in_time)
        CancelIo(pipe_.get());
    const BOOL done = GetOverlappedResult(pipe_.get(), &operation, &count, TRUE);
    if (!in_time)
        throw driver_error("the worker does not answer");
    return done ? count : 0;
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
        const size_t count = finish(operation);
        if (count == 0)
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
    if (!process_->waitForExit(milliseconds))
        throw driver_error("the worker still runs");
    return process_->exitCode();
}

} // namespace worker_driver
