#pragma once
// The window as a command: from the first message to the last.

#include "player/host/player_host.h"
#include "player/window/console_pane.h"

namespace player {

struct gui_options {
    std::string file;    // to open; empty: the one of the last time, if it is still there
    std::string capture; // everything that is heard also goes into this file; empty: nowhere
    bool no_device = false;
};

struct gui_end {
    bool clean =
        true; // false: something did not end in time, the process must end without destroying the host
    std::string capture_failure; // why the capture file is not whole; empty: it is, or none was wanted
};

// Opens the window, runs until it is closed or `stop` is set, and shuts the host down in its order. The host
// is started, `lines` is where its console's lines go. Throws player_error or exception_win32 when the window
// or the capture file cannot be made, or that file is to be played; the host is not shut down then. Main
// thread.
gui_end run_gui(player_host& host, console_lines& lines, const gui_options& options, abort_callback& stop);

} // namespace player
