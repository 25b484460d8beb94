#pragma once
// Names and numbers of the window's parts, for whoever drives it by messages.

#include <cstdint>

namespace player::ids {

constexpr const wchar_t* main_class = L"qvxplayer";
constexpr const wchar_t* preferences_class = L"qvxplayer preferences";

// Commands: menu items, accelerators and buttons alike.
enum : int {
    open = 100,
    preferences,
    quit,
    play,
    pause,
    stop,
    about,
    chain_add = 120,
    chain_configure,
    chain_remove,
    chain_up,
    chain_down,
    failure_start_again = 130,
    failure_leave_out,
    failure_configure,
    console_copy = 140,
    console_clear,
    first_entry = 200,        // DSP entries to be added
    first_component = 0x2000, // the component's commands, as the menu showed them last
    last_component = 0x5FFF,
};

// Controls without a command.
enum : int {
    seek_label = 1000,
    seek_bar,
    time,
    meter,
    chain_label,
    chain_list,
    failure_text,
    console_label,
    console_text,
    status,
};

// Controls of the preferences.
enum : int {
    settings_label = 1100,
    settings_tree,
    settings_reset,
    theme_label,
    theme_choice,
    shortcut_label,
    shortcut_list,
    shortcut_key,
    shortcut_set,
    preferences_close = 2, // Escape
};

} // namespace player::ids
