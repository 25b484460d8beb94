#pragma once
#include "ui/folders_model.h"
#include "ui/toolkit/dialog_window.h"
#include "ui/toolkit/list_control.h"

// The folders that effects are looked for in. One window for the process at most, modeless, owned by the
// player's main window and only hidden when the user closes it. Main thread.
class CDialogFolders final : public toolkit::dialog_window {
public:
    // Shows the one dialog on top, making it when there is none. Throws exception_win32 when no window can be
    // made, exception_host_bug_check as the settings do.
    static void open();
    // Destroys it: for a player that quits and had no main window to do that.
    static void close() noexcept;

private:
    CDialogFolders();
    ~CDialogFolders() override = default;

    void on_init() override;
    void on_command(int id, int code, HWND control) override;
    bool on_notify(NMHDR& header) override;
    void on_close() override;
    void on_gone() noexcept override;
    std::shared_ptr<const void> keep_alive() noexcept override;

    void add();
    void remove();
    void show_selection();
    void open_in_shell(const std::optional<std::string>& path);

    folders_model model_;
    toolkit::list_control default_list_, user_list_;
};
