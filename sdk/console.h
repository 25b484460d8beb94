#pragma once
#include "sdk/service.h"

#include <string_view>

// The player's log. Exists exactly once.
class console_service : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x82e211d3, 0x6942, 0x411a, {0x85, 0x17, 0xb8, 0x97, 0xf7, 0xa3, 0x5e, 0x8d}};

    // One line of UTF-8 without line end (a line feed inside splits it). Any thread; lines never mix.
    virtual void print_line(const char* utf8, size_t byte_count) noexcept = 0;

protected:
    ~console_service() = default;
};

namespace console {
// Throws exception_host_bug_check when the player has no console.
void print(std::string_view line);
} // namespace console
