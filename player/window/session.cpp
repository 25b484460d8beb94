#include "player/window/session.h"

#include "player/system/hexadecimal.h"
#include "player/window/shortcuts.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace player {

namespace {

using json = nlohmann::json;

std::optional<chain_slot> slot_from(const json& item)
{
    if (!item.is_object() || !item.contains("owner") || !item["owner"].is_string() ||
        !item.contains("data") || !item["data"].is_string() || !item.contains("on") ||
        !item["on"].is_boolean())
        return std::nullopt;
    const auto owner = parse_guid(item["owner"].get<std::string>());
    const auto data = from_hexadecimal(item["data"].get<std::string>());
    if (!owner || !data)
        return std::nullopt;
    chain_slot slot;
    slot.preset.set_owner(*owner);
    slot.preset.set_data(data->data(), data->size());
    slot.enabled = item["on"].get<bool>();
    return slot;
}

} // namespace

std::string chain_to_text(const chain_slots& slots)
{
    json list = json::array();
    for (const auto& slot : slots)
        list.push_back({{"owner", guid_text(slot->preset.get_owner())},
                        {"on", slot->enabled},
                        {"data", to_hexadecimal({static_cast<const uint8_t*>(slot->preset.get_data()),
                                                 slot->preset.get_data_size()})}});
    return list.dump();
}

bool chain_from_text(const std::string& text, live_chain& chain)
{
    if (text.empty())
        return true;
    const json list = json::parse(text, nullptr, false);
    if (!list.is_array())
        return false;
    std::vector<chain_slot> slots;
    for (const json& item : list) {
        auto slot = slot_from(item);
        if (!slot)
            return false;
        slots.push_back(std::move(*slot));
    }
    for (const chain_slot& slot : slots)
        chain.add(slot.preset, slot.enabled);
    return true;
}

std::string place_to_text(const window_place& place)
{
    char text[80];
    std::snprintf(text, sizeof(text), "%d,%d,%d,%d,%d", place.left, place.top, place.width, place.height,
                  place.maximised ? 1 : 0);
    return text;
}

std::optional<window_place> place_from_text(const std::string& text)
{
    // The sum of two fits an int as well.
    constexpr int furthest = 999'999'999;
    int numbers[5] = {};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (int& number : numbers) {
        if (&number != numbers && (at == end || *at++ != ','))
            return std::nullopt;
        const auto read = std::from_chars(at, end, number);
        if (read.ec != std::errc() || number < -furthest || number > furthest)
            return std::nullopt;
        at = read.ptr;
    }
    if (at != end)
        return std::nullopt;
    return window_place{numbers[0], numbers[1], numbers[2], numbers[3], numbers[4] != 0};
}

window_place on_screen(window_place place, int left, int top, int right, int bottom)
{
    place.width = std::clamp(place.width, 200, std::max(200, right - left));
    place.height = std::clamp(place.height, 150, std::max(150, bottom - top));
    place.left = std::max(left, std::min(place.left, right - place.width));
    place.top = std::max(top, std::min(place.top, bottom - place.height));
    return place;
}

std::string time_text(double seconds)
{
    constexpr double longest = 1e7;
    const auto whole = static_cast<long>(seconds > 0 ? std::min(seconds, longest) : 0);
    char text[40];
    if (whole >= 3600)
        std::snprintf(text, sizeof(text), "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    else
        std::snprintf(text, sizeof(text), "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

double meter_share(double peak)
{
    constexpr double lowest = -60;
    if (!(peak > 0))
        return 0;
    return std::clamp(1 - 20 * std::log10(peak) / lowest, 0.0, 1.0);
}

} // namespace player
