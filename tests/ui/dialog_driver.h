#pragma once
// A player for dialogs, and hands and eyes for their windows: messages posted and texts read.

#include "support/dialog_host.h"
#include "support/edited_preset.h"
#include "support/temp_folder.h"

#include <functional>
#include <string>
#include <vector>

// Several folders at once; shown and interrupted like the pickers of the shell it is given.
class scripted_folder_picker : public file_dialog_service {
public:
    using service_interface = file_dialog_service;

    explicit scripted_folder_picker(service_ptr_t<scripted_shell> shell)
        : shell_(std::move(shell))
    {
    }
    bool choose_folders(void*, const char* title, path_receiver& receiver) override
    {
        shell_->shown.push_back(std::string("folders ") + title);
        if (shell_->meanwhile)
            shell_->meanwhile();
        for (const std::string& path : answer)
            receiver.on_path(path.c_str());
        return !answer.empty();
    }

    std::vector<std::string> answer; // empty: the user gives up

private:
    service_ptr_t<scripted_shell> shell_;
};

class recorded_look : public user_interface_look {
public:
    using service_interface = user_interface_look;

    void follow_frame(void* window) override { frames.push_back(static_cast<HWND>(window)); }
    void follow_theme(void* window) override { themed.push_back(static_cast<HWND>(window)); }

    std::vector<HWND> frames, themed;
};

class switched_interface : public user_interface {
public:
    using service_interface = user_interface;

    void get_look(service_ptr_t<user_interface_look>& out) override { out = look; }
    bool is_dark() const noexcept override { return dark; }

    service_ptr_t<recorded_look> look = service_new<recorded_look>();
    bool dark = false;
};

// The player with everything that dialogs ask for. One at a time, on the main thread.
struct dialog_player : dialog_host {
    explicit dialog_player(bool picks_several = true);

    service_ptr_t<scripted_folder_picker> picker = service_new<scripted_folder_picker>(shell);
    service_ptr_t<switched_interface> look = service_new<switched_interface>();
};

// The same, whose settings name one folder, with the sample gain as VST 2 and VST 3 in it.
struct module_player : dialog_player {
    module_player();

    temp_folder modules;
    const std::string vst2 = modules.path("found\\qvxGain.dll"), vst3 = modules.path("found\\qvxGain.vst3");
};

std::string text_of(HWND window); // UTF-8
std::string text_of(HWND dialog, int id);
bool is_enabled(HWND dialog, int id);
bool is_visible(HWND dialog, int id);
void click(HWND dialog, int id); // a button, if it is enabled
// A key for the control that has the focus, as if typed there.
void type_key(HWND dialog, WPARAM key);

// Controls that overlap, texts of labels and buttons that are cut, and what lies outside of the dialog.
std::vector<std::string> layout_faults(HWND dialog);

// Of combo boxes.
std::vector<std::string> choices(HWND dialog, int id);
int chosen(HWND dialog, int id); // -1: nothing
void choose(HWND dialog, int id, int index);

// Of list views.
std::vector<std::string> rows(HWND dialog, int id); // "[x] " or "[ ] " in front of rows with a check box
void select_row(HWND dialog, int id, int row);      // -1: none
void double_click_row(HWND dialog, int id, int row);
void set_tick(HWND dialog, int id, int row, bool ticked);
