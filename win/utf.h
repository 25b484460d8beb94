#pragma once
// UTF-8 (everywhere in memory, on the wire and in files) to UTF-16 (Win32 calls) and back. Broken input
// becomes U+FFFD and is never an error; sizes over 2 GiB throw std::length_error.

#include <string>
#include <string_view>

namespace win {

std::wstring to_utf16(std::string_view utf8);
std::string to_utf8(std::wstring_view utf16);

} // namespace win
