#pragma once
#include "player/services/dialog_keys.h"
#include "player/services/theme.h"
#include "player/window/menu_model.h"
#include "player/window/shortcuts.h"
#include "player/window/toolkit.h"
#include "sdk/advconfig.h"

#include <commctrl.h>

#include <vector>

namespace player {

// The preferences: the component's switches as a tree, the theme, shortcuts of the component's commands. What
// is changed counts at once. Modeless; hidden rather than destroyed when it is closed. Main thread.
class preferences_window {
public:
    preferences_window(HWND owner, dialog_keys& keys, theme& colors, shortcuts& bindings);
    ~preferences_window();
    preferences_window(const preferences_window&) = delete;
    preferences_window& operator=(const preferences_window&) = delete;

    void open(); // shows what is there now

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM first, LPARAM second);
    LRESULT handle(UINT message, WPARAM first, LPARAM second);
    void make_controls();
    void arrange() const;
    void fill_tree();
    void add_branch(HTREEITEM under, const guid_t& parent, int depth);
    void fill_commands();
    void show_key() const;
    void command(int id, int code);
    void notified(const NMHDR& header);
    LRESULT draw_row(NMTVCUSTOMDRAW& row) const;
    void store_box(HTREEITEM item);
    advconfig_entry_checkbox* entry_of(HTREEITEM item) const;
    HWND control(int id) const { return GetDlgItem(window_, id); }

    HWND owner_;
    dialog_keys& keys_;
    theme& colors_;
    shortcuts& bindings_;
    appearance look_;
    std::vector<service_ptr_t<advconfig_entry_checkbox>> entries_; // items know their index
    std::vector<menu_entry> commands_;
    HWND window_ = nullptr;
};

} // namespace player
