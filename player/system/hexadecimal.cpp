#include "player/system/hexadecimal.h"

namespace player {

std::string to_hexadecimal(std::span<const uint8_t> bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::optional<std::vector<uint8_t>> from_hexadecimal(const std::string& text)
{
    const auto value = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    };
    std::vector<uint8_t> bytes;
    bytes.reserve(text.size() / 2);
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        const int high = value(text[i]), low = value(text[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    if (text.size() % 2 != 0)
        return std::nullopt;
    return bytes;
}

} // namespace player
