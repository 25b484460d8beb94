#pragma once
// Files that are read and replaced as a whole.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace player {

// All bytes of a file; nothing when there is no such file. Throws player_error when it cannot be read or is
// larger than `max_bytes`.
std::optional<std::vector<uint8_t>> read_whole_file(const std::string& path, uint64_t max_bytes);

// Writes a new file beside the old one, flushes it to the disk and renames it over, so that a reader, also
// one after a crash at any moment, sees the old or the new bytes and nothing between. A rename that is
// refused for a moment (somebody reads the file) is tried again for 2 seconds. Makes the folder when it is
// missing. Throws player_error; the old file is untouched then.
void replace_whole_file(const std::string& path, std::span<const uint8_t> bytes);

// Before work whose result is to be that file: throws player_error when there is no folder for it, nothing
// can be made in there, or what has that name is a folder, write-protected or kept open by somebody.
void check_replaceable(const std::string& path);

// Renames over an existing file, with the same patience. Returns the Windows error code, 0 for success.
uint32_t rename_over(const std::string& from, const std::string& to);

} // namespace player
