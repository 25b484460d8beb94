#pragma once
// More of the player around dialogs, for tests (see dialog_host.h). Main thread.

#include "sdk/user_interface.h"
#include "support/dialog_host.h"

#include <algorithm>
#include <string>
#include <utility>
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

class recorded_modeless : public modeless_dialogs {
public:
    using service_interface = modeless_dialogs;

    void add(void* dialog) override { windows.push_back(static_cast<HWND>(dialog)); }
    void remove(void* dialog) noexcept override { std::erase(windows, static_cast<HWND>(dialog)); }

    std::vector<HWND> windows;
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
