#pragma once
// Paths between UTF-8 (as the user, the component and the settings have them) and what Win32 calls take.

#include <string>

namespace player {

// The full path of a path that may be relative or use forward slashes; UTF-8. Never fails: what the system
// cannot resolve comes back as it was.
std::string absolute_path(const std::string& path);

// For Win32 file calls: full, and in the form without a length limit where it is long.
std::wstring os_path(const std::string& path);

// The part after the last separator.
std::string file_name(const std::string& path);
// The part before it, without the separator; empty when there is none.
std::string folder_of(const std::string& path);

bool path_exists(const std::string& path);
bool is_folder(const std::string& path);
// True when both name the same existing file, also through links and different spellings.
bool is_same_file(const std::string& a, const std::string& b);

// The folder of the running program, without a separator at its end.
std::string program_folder();

} // namespace player
