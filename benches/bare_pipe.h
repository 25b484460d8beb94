#pragma once
// What the operating system charges for a chunk, and nothing else: a pipe to a program that only answers, one
// overlapped write and two reads, no abort, no exceptions. Ends the program with a line when something fails.

#include "win/handle.h"

#include <windows.h>

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

// The folder of programs that belong to this one; UTF-16, with the separator at the end.
std::wstring own_folder();
// Where the answering worker lies under the workers' names, as own_folder.
std::wstring answering_folder();

[[noreturn]] void fail(const char* what);

// A program of ours at the other end of a pipe that is made as the component makes its own.
class started_peer {
public:
    // `program PIPE`, or `program ARGUMENTS PIPE` where the arguments are not empty.
    started_peer(const std::wstring& program, const std::wstring& arguments);
    ~started_peer(); // the peer ends with the pipe; it is waited for
    started_peer(const started_peer&) = delete;
    started_peer& operator=(const started_peer&) = delete;

    void write(const void* bytes, size_t count) const;
    void read(void* bytes, size_t count) const;
    HANDLE process() const noexcept { return process_.get(); }

private:
    win::file_handle pipe_;
    win::kernel_handle event_;
    win::kernel_handle process_;
};

class bare_pipe {
public:
    bare_pipe();
    // Sends that many bytes of audio and reads the same number and four more.
    void exchange(size_t audio_bytes);
    // Processor seconds of the peer so far.
    double peer_seconds() const;

private:
    started_peer peer_;
    std::vector<char> out_;
    std::vector<char> in_;
};

// Processor seconds of a process, user and kernel.
double processor_seconds(HANDLE process);

} // namespace bench
