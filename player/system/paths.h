#pragma once
// Paths as the user, the component and the settings have them: UTF-8, also relative or with forward slashes.
// Win32 calls take them from win::long_path.

#include <string>

namespace player {

// The full path, without the prefix of long ones. Never fails: what the system cannot resolve comes back as
// it was.
std::string absolute_path(const std::string& path);

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
