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

class bare_pipe {
public:
    bare_pipe();
    ~bare_pipe(); // the peer ends with the pipe; it is waited for
    bare_pipe(const bare_pipe&) = delete;
    bare_pipe& operator=(const bare_pipe&) = delete;

    // Sends that many bytes of audio and reads the same number and four more.
    void exchange(size_t audio_bytes);
    // Processor seconds of the peer so far.
    double peer_seconds() const;

private:
    void write(const void* bytes, size_t count);
    void read(void* bytes, size_t count);

    win::file_handle pipe_;
    win::kernel_handle event_;
    win::kernel_handle peer_;
    std::vector<char> out_;
    std::vector<char> in_;
};

// Processor seconds of a process, user and kernel.
double processor_seconds(HANDLE process);

} // namespace bench
