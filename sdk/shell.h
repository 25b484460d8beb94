#pragma once
// The player's boxes and pickers, and the platform's shell. Main thread only. All texts are UTF-8; a parent
// is an HWND and may be null. Everything that shows something runs a message loop until the user has
// answered: any callback may run meanwhile, and any window be destroyed.

#include "sdk/service.h"
#include "sdk/string_out.h"

#include <cstdint>
#include <optional>
#include <string>

// What a box has to tell: the platform shows an icon for each and plays a sound.
enum class popup_kind : uint32_t { information = 0, failure = 1 };

// Exists exactly once.
class shell_service : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x58c1f2d7, 0x3a94, 0x4be6, {0x97, 0x0b, 0x6e, 0x25, 0xd3, 0x8f, 0x41, 0xc0}};

    virtual void show_popup(void* parent, const char* text, const char* title, popup_kind kind) = 0;
    // `filter` is pairs joined by "|": a text, then its patterns joined by ";". A name without an extension
    // gets `default_extension` (without the dot). `folder` may be null: the player's choice. `save`: for a
    // file to be written, after a question when there is one. False when the user gave up.
    virtual bool get_open_file_name(void* parent, const char* filter, const char* default_extension,
                                    const char* title, const char* folder, bool save, string_out& path) = 0;
    virtual bool browse_for_folder(void* parent, const char* title, string_out& path) = 0;
    // What a double click on `file` does in the platform's shell, or the verb named; `verb` and `parameters`
    // may be null. False when the shell refuses.
    virtual bool execute(void* parent, const char* verb, const char* file, const char* parameters) = 0;

protected:
    ~shell_service() = default;
};

// Receives the paths that the user chose, in order; the text is only valid during the call.
class path_receiver {
public:
    virtual void on_path(const char* path) = 0;

protected:
    ~path_receiver() = default;
};

// A picker that lets the user choose several folders at once. At most one exists.
class file_dialog_service : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x3695a1b2, 0x2898, 0x4e66, {0x9a, 0x82, 0xea, 0x59, 0xbc, 0x45, 0xb1, 0x5f}};

    // False when the user gave up; nothing was received then.
    virtual bool choose_folders(void* parent, const char* title, path_receiver& receiver) = 0;

protected:
    ~file_dialog_service() = default;
};

// The same as functions. Throw exception_host_bug_check when the player has no such service, and off the main
// thread.
void show_popup(void* parent, const std::string& text, const std::string& title,
                popup_kind kind = popup_kind::information);
std::optional<std::string> uGetOpenFileName(void* parent, const char* filter, const char* default_extension,
                                            const char* title, const char* folder, bool save);
std::optional<std::string> uBrowseForFolderEx(void* parent, const char* title);
bool uShellExecute(void* parent, const char* verb, const char* file, const char* parameters);
