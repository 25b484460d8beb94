#pragma once
// An editor from its opening to its end: the message loop, the state file that follows the edits, what the
// effect asks for. GUI thread.

#include "vsthost/editor/editor_window.h"
#include "vsthost/editor/processing_gate.h"
#include "vsthost/editor/save_schedule.h"
#include "vsthost/effect.h"

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>

namespace vsthost {

class live_audio;
class player_link;
class state_writer;

class editor_session {
public:
    // All of these outlive the session. Null: `link` when no player is there, `live` when it sends no audio,
    // `writer` when the state is nobody's.
    struct parts {
        effect& shown;
        processing_gate& gate;
        const player_link* link;
        live_audio* live;
        state_writer* writer;
        bool state_is_steady; // the same bytes as long as nothing is edited
    };

    // Opens the effect's editor or, without one, the list of its parameters. One session a thread.
    editor_session(const parts& with, HWND owner, const std::string& title);
    ~editor_session();
    editor_session(const editor_session&) = delete;
    editor_session& operator=(const editor_session&) = delete;

    // Until the user closes the window or the player goes. The state is in the writer's hands then, the
    // editor closed and the window gone.
    void run();

private:
    static LRESULT CALLBACK on_retrieval(int code, WPARAM wide, LPARAM large);
    void open_editor();
    void pump();
    void tick();
    void attend();
    void rebuild();
    void save();
    void end();
    void end_for_good();

    parts with_;
    save_schedule schedule_;
    uint64_t last_tick_ = 0;
    bool in_tick_ = false;
    bool ending_ = false;
    HHOOK hook_ = nullptr;
    editor_window window_; // last: its messages lead here
};

} // namespace vsthost
