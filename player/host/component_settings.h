#pragma once
// The component's settings as they lie in the store, so that they can be shown and changed without loading
// it. Any thread.

#include "sdk/config_store.h"

#include <string>
#include <vector>

namespace player {

struct component_setting {
    std::string name;
    bool is_switch = true; // else a list of folders
    bool on = false;
    std::vector<std::string> folders; // without empty ones
};

// All of them, in the order in which they are shown.
std::vector<component_setting> read_settings(const config_store& store);

// Applies one NAME=VALUE; switches take on/off, yes/no, true/false, 1/0, lists take paths with ";" between
// them (none: the empty list). Throws usage_error for an unknown name or value, before anything is stored.
void change_setting(config_store& store, const std::string& assignment);
// Throws usage_error when a NAME or NAME=VALUE names no setting or no value of it. Stores nothing.
void check_setting(const std::string& item);

// The same settings with "process tail" on, whatever the store says. Everything else goes to the store
// behind.
service_ptr_t<config_store> with_tail_on(service_ptr_t<config_store> store);

} // namespace player
