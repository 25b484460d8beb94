#pragma once
// Paths (UTF-8, native, also relative or with forward slashes) for Win32 file calls.

#include <string>

namespace win {

// The full path, in the form without a length limit where it is long. Never fails: what the system cannot
// resolve comes back as it was.
std::wstring long_path(const std::string& path);

} // namespace win
