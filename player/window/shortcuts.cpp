#include "player/window/shortcuts.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace player {

namespace {

constexpr uint16_t first_function_key = 0x70, function_keys = 24;

bool is_letter_or_digit(int key) noexcept
{
    return (key >= 'A' && key <= 'Z') || (key >= '0' && key <= '9');
}

} // namespace

std::string key_text(const key_press& press)
{
    std::string name;
    if (is_letter_or_digit(press.key) && (press.control || press.alt))
        name = static_cast<char>(press.key);
    else if (press.key >= first_function_key && press.key < first_function_key + function_keys)
        name = "F" + std::to_string(press.key - first_function_key + 1);
    else
        return {};
    return std::string(press.control ? "Ctrl+" : "") + (press.alt ? "Alt+" : "") +
           (press.shift ? "Shift+" : "") + name;
}

std::optional<key_press> parse_key(const std::string& text)
{
    // Few enough to try them all, and one truth about how they are spelled.
    for (int modifiers = 0; modifiers < 8; ++modifiers) {
        key_press press{(modifiers & 1) != 0, (modifiers & 2) != 0, (modifiers & 4) != 0};
        for (press.key = 1; press.key < 0x100; ++press.key) {
            const std::string name = key_text(press);
            if (!name.empty() && name == text)
                return press;
        }
    }
    return std::nullopt;
}

std::optional<guid_t> parse_guid(const std::string& text)
{
    constexpr size_t length = 36;
    if (text.size() != length)
        return std::nullopt;
    uint8_t bytes[16];
    size_t count = 0;
    for (size_t i = 0; i < length;) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i++] != '-')
                return std::nullopt;
            continue;
        }
        int value = 0;
        for (const size_t end = i + 2; i < end; ++i) {
            const char c = text[i];
            const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
            if (digit < 0)
                return std::nullopt;
            value = value * 16 + digit;
        }
        bytes[count++] = static_cast<uint8_t>(value);
    }
    guid_t guid;
    guid.data1 = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
                 static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
    guid.data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
    std::copy(bytes + 8, bytes + 16, guid.data4);
    return guid;
}

shortcuts::shortcuts(service_ptr_t<config_store> store)
    : store_(std::move(store))
{
    string_out_impl stored;
    store_->get_string(store_key, "", stored);
    const auto list = nlohmann::json::parse(stored.text, nullptr, false);
    if (!list.is_object())
        return;
    for (const auto& [key, command] : list.items()) {
        const auto press = parse_key(key);
        if (press && command.is_string() && parse_guid(command.get<std::string>()))
            commands_[*press] = command.get<std::string>();
    }
}

std::optional<guid_t> shortcuts::find(const key_press& press) const
{
    const auto found = commands_.find(press);
    return found == commands_.end() ? std::nullopt : parse_guid(found->second);
}

std::string shortcuts::text_of(const guid_t& command) const
{
    const std::string wanted = guid_text(command);
    for (const auto& [press, text] : commands_) {
        if (text == wanted)
            return key_text(press);
    }
    return {};
}

void shortcuts::bind(const guid_t& command, const key_press& press)
{
    auto next = commands_;
    const std::string text = guid_text(command);
    std::erase_if(next, [&](const auto& each) { return each.second == text; });
    if (!key_text(press).empty())
        next[press] = text;
    nlohmann::json list = nlohmann::json::object();
    for (const auto& [key, bound] : next)
        list[key_text(key)] = bound;
    store_->set_string(store_key, list.dump().c_str());
    commands_ = std::move(next);
}

} // namespace player
