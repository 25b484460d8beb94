#pragma once
// Names of pipes, and our ends of them.

#include "win/handle.h"

#include <string>

namespace Nv {

// A fresh random GUID as 32 lower-case hexadecimal digits: its 16 bytes as they lie in memory, two digits
// each. Throws std::runtime_error "CoCreateGuid failure".
std::string makeGuidText();

// \\.\pipe\ and makeGuidText: the name of a pipe that nobody else has. Throws the same.
std::wstring makePipeName();

// Creates the pipe of that name, a stream of bytes for one client, and returns our end, for overlapped I/O.
// `access`: PIPE_ACCESS_...; without attributes nobody inherits the end. Throws std::runtime_error "pipe
// creation failure", also when there is a pipe of that name.
win::file_handle createPipe(const std::wstring& name, DWORD access,
                            SECURITY_ATTRIBUTES* attributes = nullptr);

} // namespace Nv
