#pragma once
// Paths (UTF-8, native, also relative or with forward slashes) for Win32 file calls.

#include <string>

namespace win {

// Neither fails: what the system cannot resolve comes back as it was.
// The full path; a path in the form without a length limit stays as it is.
std::wstring full_path(const std::string& path);
// The full path, in the form without a length limit where it is long.
std::wstring long_path(const std::string& path);

} // namespace win
