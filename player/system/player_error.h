#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>

namespace player {

// A failure that the user is told about as it stands: one line that names the file and says what to do.
struct player_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line is wrong (exit code 2).
struct usage_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "<path>: <what failed>: <win::error_text>", with advice for the codes that people meet.
std::string file_error_text(const std::string& path, const char* what, uint32_t code);
[[noreturn]] void throw_file_error(const std::string& path, const char* what, uint32_t code);

} // namespace player
