#pragma once
// A player for dialogs, and hands and eyes for their windows: messages posted and texts read.

#include "support/ui_doubles.h"

#include <functional>
#include <string>
#include <vector>

// The player with everything that dialogs ask for. One at a time, on the main thread.
struct dialog_player {
    explicit dialog_player(bool picks_several = true);

    // Dispatches messages as a player's loop does, dialog keys included, until `done`; false at the limit.
    bool pump_until(const std::function<bool()>& done, double limit_seconds = 10);
    void pump(); // what waits now

    dialog_host base;
    service_ptr_t<scripted_shell> shell = base.shell;
    service_ptr_t<scripted_folder_picker> picker = service_new<scripted_folder_picker>(shell);
    service_ptr_t<recorded_modeless> modeless = service_new<recorded_modeless>();
    service_ptr_t<switched_interface> look = service_new<switched_interface>();
};

std::string text_of(HWND window); // UTF-8
std::string text_of(HWND dialog, int id);
bool is_enabled(HWND dialog, int id);
bool is_visible(HWND dialog, int id);
void click(HWND dialog, int id); // a button, if it is enabled
// A key for the control that has the focus, as if typed there.
void press(HWND dialog, WPARAM key);

// Of combo boxes.
std::vector<std::string> choices(HWND dialog, int id);
int chosen(HWND dialog, int id); // -1: nothing
void choose(HWND dialog, int id, int index);

// Of list views.
std::vector<std::string> rows(HWND dialog, int id); // "[x] " or "[ ] " in front of rows with a check box
void select_row(HWND dialog, int id, int row);      // -1: none
void double_click_row(HWND dialog, int id, int row);
void set_tick(HWND dialog, int id, int row, bool ticked);
