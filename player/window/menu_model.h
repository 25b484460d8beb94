#pragma once
// The commands that the component brings to the player's menus, and how one is run by its GUID. Main thread;
// the services are available.

#include "sdk/mainmenu.h"

#include <functional>
#include <string>
#include <vector>

namespace player {

struct menu_entry {
    enum class kind { command, group, separator };
    kind what = kind::command;
    std::string text;
    std::string description;   // may be empty
    uint32_t flags = 0;        // mainmenu_flag_...
    guid_t guid;               // of the command; all zero: no shortcut can be bound to it
    std::function<void()> run; // may throw what the component throws
    std::vector<menu_entry> children;
};

// What belongs into a group of the menu bar now, in order: by priority, then as registered. For the group of
// all zeros: what belongs into none of `groups`.
std::vector<menu_entry> menu_of_group(const guid_t& group, const std::vector<guid_t>& groups);

// Every command that a shortcut can be bound to, wherever it is; groups are flattened.
std::vector<menu_entry> all_commands();

// Runs the command, also one of a sub-tree as of now; false when there is none. Throws what it throws.
bool run_command(const guid_t& guid);

} // namespace player
