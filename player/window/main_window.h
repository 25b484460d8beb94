#pragma once
#include "player/host/player_host.h"
#include "player/window/chain_pane.h"
#include "player/window/console_pane.h"
#include "player/window/failure_bar.h"
#include "player/window/menu_bar.h"
#include "player/window/preferences_window.h"
#include "player/window/transport_bar.h"

#include <shellapi.h>

#include <optional>

namespace player {

// The player's window: forwards messages to its parts. Main thread.
class main_window {
public:
    // Posted by the engine's notifications and by console lines that wait.
    static constexpr UINT engine_changed = WM_APP + 1, lines_wait = WM_APP + 2;

    // The host, the lines and later the engine outlive the window. Throws exception_win32.
    main_window(player_host& host, console_lines& lines);
    ~main_window();
    main_window(const main_window&) = delete;
    main_window& operator=(const main_window&) = delete;

    HWND window() const noexcept { return window_; }
    bool is_closed() const noexcept { return closed_; } // by the user: leave the message loop
    // Once, before anything is shown.
    void start(playback_engine& engine);
    void show(); // where it was last time

    // Plays nothing yet; a file that cannot be opened is told in a box.
    void open_file(const std::string& path);
    // True when the message was a key of the player's or of a dialog's; it is done then.
    bool take_key(MSG& message);

    void save_chain(); // when it changed since the last time
    // Closes dialogs and lets go of everything of the component's, before it is unloaded.
    void leave_component();

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM first, LPARAM second);
    LRESULT handle(UINT message, WPARAM first, LPARAM second);
    std::optional<LRESULT> handle_look(UINT message, WPARAM first, LPARAM second);
    void command(int id, int code);
    void failure_command(int id);
    void choose_file();
    void dropped(HDROP files);
    void about() const;
    void tick();
    void show_status(const play_status& now);
    void arrange() const;
    void change_look();
    void chain_changed();
    void close();
    void save_place() const;
    std::string slot_name(uint64_t slot) const;

    player_host& host_;
    console_lines& lines_;
    appearance look_;
    shortcuts keys_;
    playback_engine* engine_ = nullptr;
    HWND window_ = nullptr;
    HWND status_ = nullptr;
    // In the order of the keyboard.
    std::unique_ptr<transport_bar> transport_;
    std::unique_ptr<failure_bar> failure_;
    std::unique_ptr<chain_pane> chain_;
    std::unique_ptr<console_pane> console_;
    std::unique_ptr<menu_bar> menu_;
    std::unique_ptr<preferences_window> preferences_;
    std::string file_;
    std::string hint_; // of the menu item under the mouse
    bool chain_saved_ = true;
    bool closed_ = false;
};

} // namespace player
