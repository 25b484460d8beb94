#pragma once
// What a worker needs to know of a module file before and after the loader refused it. Pure, bounded.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vsthost {

constexpr uint16_t machine_x86 = 0x014C;
constexpr uint16_t machine_x64 = 0x8664;
constexpr uint16_t machine_arm64 = 0xAA64;

// Machine type of a Windows module; nothing when the bytes are none.
std::optional<uint16_t> pe_machine(std::span<const uint8_t> file);

// "64-bit (x64)", "32-bit (x86)", "ARM64", "machine type 0x1C4".
std::string machine_name(uint16_t machine);

// Names of the libraries that the module imports, at most 256; what cannot be read is left out.
std::vector<std::string> pe_imports(std::span<const uint8_t> file);

} // namespace vsthost
