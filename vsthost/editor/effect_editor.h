#pragma once
// An effect's editor inside a window of ours. Everything on the GUI thread, also beside processing; calls go
// into the effect without the watchdog's limit: an editor may show a dialog of its own for minutes.

#include "vsthost/effect.h"

#include <cstdint>
#include <optional>

namespace vsthost {

// The window around an editor.
class editor_host {
public:
    // The editor wants a client area of this size (physical pixels). Calls effect_editor::resized() before it
    // returns.
    virtual void resize(editor_size wanted) = 0;
    // The editor runs a loop of its own, in which nothing but this call leads back here.
    virtual void idle_inside() = 0;

protected:
    ~editor_host() = default;
};

// A key that no window of the editor took.
struct key_press {
    bool down = true;
    uint16_t character = 0; // UTF-16; 0: none
    uint8_t code = 0;       // as both formats number the keys without a character; 0: none
    bool shift = false;
    bool alternate = false;
    bool control = false;
};

class effect_editor {
public:
    // Closed by then.
    virtual ~effect_editor() = default;

    // What it wants, before and after open(); nothing when it does not tell (yet).
    virtual std::optional<editor_size> size() = 0;

    // Fills the client area of `window` (an HWND), which is still hidden; false when the effect refuses. The
    // editor may ask for another size inside.
    virtual bool open(void* window) = 0;
    // Before the window goes.
    virtual void close() = 0;

    // Where 1.0 is 96 dots per inch; before open() and when the window moves to another screen.
    virtual void set_scale(double /*scale*/) {}

    // By the user.
    virtual bool can_resize() { return false; }
    // The nearest size that it takes.
    virtual editor_size constrained(editor_size wanted) { return wanted; }
    // The client area has this size now.
    virtual void resized(editor_size /*now*/) {}

    virtual void focused(bool /*has_focus*/) {}
    // True when it made use of it.
    virtual bool key(const key_press& /*press*/) { return false; }
    virtual bool wheel(double /*notches*/) { return false; } // away from the user is positive

    // The effect's parameters may be other ones now.
    virtual void renew() {}
    // About every 20 ms.
    virtual void idle() {}
};

} // namespace vsthost
