#pragma once
// The text of the configuration store's file: one JSON object. Pure.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace player {

// Nothing when the bytes are no JSON object, or one that is nested deeper than anybody nests settings: the
// library calls itself for each level when it writes.
constexpr int deepest_store = 64;
std::optional<nlohmann::json> parse_store(std::span<const uint8_t> bytes);

// Bytes that are not UTF-8 cannot stand in the file; they are replaced rather than lost with everything else.
std::string store_text(const nlohmann::json& values);

} // namespace player
