#pragma once
// GUIDs as the player and a component exchange them: the memory layout of the Windows GUID structure
// (32-bit, two 16-bit, eight 8-bit fields, little-endian), without needing windows.h.

#include <cstdint>
#include <cstring>
#include <string>

struct guid_t {
    uint32_t data1 = 0;
    uint16_t data2 = 0;
    uint16_t data3 = 0;
    uint8_t data4[8] = {};

    friend bool operator==(const guid_t& a, const guid_t& b) noexcept
    {
        return std::memcmp(&a, &b, sizeof(guid_t)) == 0;
    }
};
static_assert(sizeof(guid_t) == 16);

// The fields in upper-case hexadecimal, grouped 8-4-4-4-12 and joined by "-", without braces: the form that
// keys of the configuration store use.
inline std::string guid_text(const guid_t& guid)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    const auto add = [&text](uint32_t value, int digit_count) {
        for (int shift = (digit_count - 1) * 4; shift >= 0; shift -= 4)
            text += digits[(value >> shift) & 15];
    };
    add(guid.data1, 8);
    text += '-';
    add(guid.data2, 4);
    text += '-';
    add(guid.data3, 4);
    for (int i = 0; i < 8; ++i) {
        if (i == 0 || i == 2)
            text += '-';
        add(guid.data4[i], 2);
    }
    return text;
}
