#include "player/services/store_text.h"

namespace player {

std::optional<nlohmann::json> parse_store(std::span<const uint8_t> bytes)
{
    bool too_deep = false;
    const auto watch_depth = [&](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
        too_deep = too_deep || depth > deepest_store;
        return !too_deep;
    };
    auto values = nlohmann::json::parse(bytes.begin(), bytes.end(), watch_depth, false);
    if (too_deep || !values.is_object())
        return std::nullopt;
    return values;
}

std::string store_text(const nlohmann::json& values)
{
    return values.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

} // namespace player
