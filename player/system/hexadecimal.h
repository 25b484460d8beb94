#pragma once
// Bytes as text, two lower-case digits each. Pure.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace player {

std::string to_hexadecimal(std::span<const uint8_t> bytes);
// Nothing when the text is none of that form.
std::optional<std::vector<uint8_t>> from_hexadecimal(const std::string& text);

} // namespace player
