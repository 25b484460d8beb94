#pragma once
// The boxes and pickers of the platform.

#include "sdk/shell.h"

namespace player {

class system_shell : public shell_service {
public:
    using service_interface = shell_service;

    void show_popup(void* owner, const char* text, const char* title, popup_kind kind) override;
    bool get_open_file_name(void* owner, const char* filter, const char* default_extension, const char* title,
                            const char* folder, bool save, string_out& path) override;
    bool browse_for_folder(void* owner, const char* title, string_out& path) override;
    bool execute(void* owner, const char* verb, const char* file, const char* parameters) override;
};

// Chooses several folders at once; one where the platform's picker cannot do better.
class system_folder_picker : public file_dialog_service {
public:
    using service_interface = file_dialog_service;

    bool choose_folders(void* owner, const char* title, path_receiver& receiver) override;
};

// The form that the file picker of the platform wants a filter in: texts and patterns in turn, each ended by
// a NUL, and one more at the end. A text without its patterns is left out.
std::wstring picker_filter(const char* filter);

} // namespace player
