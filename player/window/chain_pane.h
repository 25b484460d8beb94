#pragma once
#include "player/window/config_dialogs.h"
#include "player/window/dsp_names.h"
#include "player/window/toolkit.h"

#include <commctrl.h>

#include <vector>

namespace player {

// The DSP chain as a list with check boxes, and what can be done with it. Main thread.
class chain_pane {
public:
    chain_pane(HWND parent, live_chain& chain);

    // False when it is not one of its own. Throws what a DSP's dialog throws.
    bool command(int id);
    // WM_NOTIFY of the list. Throws likewise.
    void notified(const NMHDR& header);
    HWND list() const noexcept { return list_; }

    void configure(uint64_t slot) { dialogs_.open(slot, parent_); }
    void refresh(); // after each change of the chain
    void close_dialogs() { dialogs_.close_all(); }
    void arrange(const appearance& look, int left, int top, int width, int height) const;

private:
    uint64_t selected() const; // 0: none
    void select(uint64_t slot);
    void add();
    void add(const dsp_choice& choice);
    void enable_buttons() const;

    HWND parent_;
    live_chain& chain_;
    config_dialogs dialogs_;
    HWND label_, list_, add_, configure_, remove_, up_, down_;
    std::vector<uint64_t> shown_;     // slots, a row each
    std::vector<dsp_choice> choices_; // of the menu that was shown last
    bool filling_ = false;            // the list's messages are our own doing
};

} // namespace player
