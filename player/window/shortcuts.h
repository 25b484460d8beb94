#pragma once
// Which keys run which commands. Commands are known by their GUIDs, which stay the same from run to run.
// Pure.

#include "sdk/config_store.h"
#include "sdk/guid.h"

#include <map>
#include <optional>
#include <string>

namespace player {

struct key_press {
    bool control = false, alt = false, shift = false;
    uint16_t key = 0; // virtual key code; 0: none

    // What the compiler makes of it compares with a zero, which lint takes for a pointer.
    // NOLINTNEXTLINE(modernize-use-nullptr)
    friend auto operator<=>(const key_press&, const key_press&) = default;
};

// "Ctrl+Shift+F5" and back: letters, digits and F1 to F24. Letters and digits need Ctrl or Alt, or they could
// not be typed any more. Empty for what is no such key.
std::string key_text(const key_press& press);
std::optional<key_press> parse_key(const std::string& text);

// GUID of guid_text's form; nothing when it is none.
std::optional<guid_t> parse_guid(const std::string& text);

// The bindings, kept in the store. Main thread.
class shortcuts {
public:
    static constexpr const char* store_key = "player.shortcuts";

    // What the store holds and is no binding is dropped.
    explicit shortcuts(service_ptr_t<config_store> store);

    std::optional<guid_t> find(const key_press& press) const;
    std::string text_of(const guid_t& command) const; // empty: none
    // Takes the key from whatever else has it; no key (0) takes the binding away. Stored at once. Throws what
    // the store throws.
    void bind(const guid_t& command, const key_press& press);

private:
    service_ptr_t<config_store> store_;
    std::map<key_press, std::string> commands_; // texts of GUIDs
};

} // namespace player
