#pragma once
// A player for dialogs, and hands and eyes for their windows: messages posted and texts read.

#include "sdk/dsp_preset_edit_callback.h"
#include "support/dialog_host.h"
#include "support/presets.h"
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

// What the player remembers of a chooser: the states it was handed, and whether it was told of the end.
struct edited {
    explicit edited(const vstConfig_t& start)
        : preset(preset_of(start))
    {
        if (start.path.empty())
            clearPreset(preset);
    }
    void take(const dsp_preset& changed)
    {
        preset.copy_from(changed);
        ++pushes;
        if (while_told)
            while_told();
    }
    vstConfig_t config() const { return vstConfigFromPreset(preset); }
    std::string state() const
    {
        const auto bytes = config().state;
        return {bytes.begin(), bytes.end()};
    }

    dsp_preset_impl preset;
    int pushes = 0;
    std::vector<bool> done;
    std::function<void()> while_told;
};

class edit_callback_v2 : public dsp_preset_edit_callback_v2 {
public:
    using service_interface = dsp_preset_edit_callback_v2;
    explicit edit_callback_v2(edited& target)
        : target_(target)
    {
    }
    void get_preset(dsp_preset& out) override
    {
        out.set_owner(target_.preset.get_owner());
        out.set_data(target_.preset.get_data(), target_.preset.get_data_size());
    }
    void set_preset(const dsp_preset& preset) override { target_.take(preset); }
    void dsp_dialog_done(bool accepted) override
    {
        target_.done.push_back(accepted);
        if (target_.while_told)
            target_.while_told();
    }

private:
    edited& target_;
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
