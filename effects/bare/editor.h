#pragma once
// The editor of a bare effect, as the VST 2 and VST 3 sides show it. All of it on the host's GUI thread.

#include <cstddef>

namespace bare {

// Physical pixels.
struct view_size {
    int width, height;
    bool operator==(const view_size&) const = default;
};

// What an editor asks of its host.
class editor_host {
public:
    // A change by hand: begin, any number of edits, end. edit also sets the effect's value.
    virtual void begin_edit(std::size_t parameter) = 0;
    virtual void edit(std::size_t parameter, double normalised) = 0;
    virtual void end_edit(std::size_t parameter) = 0;
    // The host's window shall get this size; it may call resized() before this returns. False: refused.
    virtual bool resize(view_size wanted) = 0;

protected:
    ~editor_host() = default;
};

// Made when a host wants to show it or to know its size; closed before it is destroyed.
class editor {
public:
    virtual ~editor() = default;

    // `parent` is the host's HWND, `host` stays valid until close(). False: there is nothing to be seen.
    virtual bool open(void* parent, editor_host& host) = 0;
    virtual void close() = 0;

    // Open or not.
    virtual view_size size() = 0;
    // By the user or the host; one that is not resizable is never resized. VST 2 has no word for it.
    virtual bool resizable() const { return false; }
    virtual view_size nearest(view_size wanted) const { return wanted; }
    virtual void resized(view_size /*size*/) {}

    // 1 is 96 dots an inch. VST 3, and only from hosts that care.
    virtual void set_scale(double /*scale*/) {}
    virtual void take_focus() {}
    // Of keys and the wheel, what came to the host's window instead of the editor's. True: used.
    virtual bool key_down(int /*character*/, int /*code*/) { return false; }
    virtual bool wheel(double /*notches*/) { return false; } // VST 3
    // VST 2: some 50 times a second, open or not.
    virtual void idle() {}
};

} // namespace bare
