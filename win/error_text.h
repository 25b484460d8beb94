#pragma once
// The operating system's words for its error codes.

#include <cstdint>
#include <string>

namespace win {

// In the user's language and UTF-8, one line without a full stop at its end; "Windows error 1234" for a code
// without words.
std::string error_text(uint32_t code);

} // namespace win
