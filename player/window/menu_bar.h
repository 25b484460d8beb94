#pragma once
#include "player/window/menu_model.h"
#include "player/window/shortcuts.h"

#include <windows.h>

namespace player {

// The window's menu: the player's own commands, and groups that are filled with the component's each time
// they are shown. Main thread.
class menu_bar {
public:
    // Gives the window its menu.
    menu_bar(HWND window, const shortcuts& keys);

    void about_to_show(HMENU popup); // WM_INITMENUPOPUP
    // What the component says of an item, for the status line; empty: nothing.
    std::string description(int id) const;
    // Runs an item of the component's; false when it is none. Throws what it throws.
    bool command(int id);

private:
    struct group {
        guid_t guid;
        HMENU menu;
    };
    void append(HMENU menu, const std::vector<menu_entry>& entries);
    const menu_entry* shown(int id) const;

    const shortcuts& keys_;
    std::vector<group> groups_;
    std::vector<menu_entry> entries_; // the commands of the popup that was shown last, by number
};

} // namespace player
