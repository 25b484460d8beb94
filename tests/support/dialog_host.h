#pragma once
// A small player for tests of dialogs and menus: the test_host with a message loop, files, the chain
// and boxes and pickers that are answered without a hand on the mouse.

#include "player/chain/live_chain.h"
#include "player/services/callback_queue.h"
#include "player/services/queue_window.h"
#include "sdk/shell.h"
#include "sdk/user_interface.h"
#include "support/test_host.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class scripted_shell : public shell_service {
public:
    using service_interface = shell_service;

    // The boxes and pickers so far: "popup TITLE: TEXT", "open TITLE|FILTER|EXTENSION", "save ...",
    // "folder TITLE", "execute FILE".
    std::vector<std::string> shown;
    std::optional<std::string> answer; // of every picker; empty: the user gives up
    std::function<void()> meanwhile;   // runs while one of them is open

    void show_popup(void* parent, const char* text, const char* title, popup_kind kind) override;
    bool get_open_file_name(void* parent, const char* filter, const char* default_extension,
                            const char* title, const char* folder, bool save, string_out& path) override;
    bool browse_for_folder(void* parent, const char* title, string_out& path) override;
    bool execute(void* parent, const char* verb, const char* file, const char* parameters) override;

private:
    bool pick(std::string what, string_out& path);
};

class recorded_modeless : public modeless_dialogs {
public:
    using service_interface = modeless_dialogs;

    void add(void* dialog) override { windows.push_back(static_cast<HWND>(dialog)); }
    void remove(void* dialog) noexcept override { std::erase(windows, static_cast<HWND>(dialog)); }

    std::vector<HWND> windows;
};

// Main thread, which is the constructing one.
class dialog_host {
public:
    dialog_host();

    // Dispatches messages as a player's loop does, dialog keys and posted callbacks included, until `done`;
    // false when it is not at the limit.
    bool run_until(const std::function<bool()>& done, double limit_seconds = 10);
    void run_for(double seconds); // at least
    void pump();                  // what waits now

    test_host host;
    service_ptr_t<player::callback_queue> queue = service_new<player::callback_queue>();
    service_ptr_t<scripted_shell> shell = service_new<scripted_shell>();
    service_ptr_t<recorded_modeless> modeless = service_new<recorded_modeless>();
    player::live_chain chain;

private:
    player::queue_window window_{*queue};
};
