#pragma once
// The top-level window around an effect's editor. GUI thread.

#include "vsthost/editor/effect_editor.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <string>

namespace vsthost {

class editor_window final : public editor_host {
public:
    struct events {
        std::function<void()> tick;         // every 20 ms, also while somebody else's message loop runs
        std::function<void()> close_wanted; // by the user, or the window goes with its owner
        std::function<void()> logged_off;   // the process may be gone when this has returned
    };

    // Hidden. Throws fatal_error when the system makes no window. `owner`, of whatever process, may be null
    // or gone: then the window stands alone.
    editor_window(HWND owner, const std::string& title, events what);
    ~editor_window();
    editor_window(const editor_window&) = delete;
    editor_window& operator=(const editor_window&) = delete;

    // Opens the editor and shows the window; false when the editor does not open.
    bool show(std::unique_ptr<effect_editor> editor);
    // The editor goes, the window stays.
    void close_editor();
    void hide();

    // The host's part of a message before it is dispatched.
    void prepare(MSG& message) const;
    void idle();
    void renew();

    void resize(editor_size wanted) override;
    void idle_inside() override;

private:
    static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM wide, LPARAM large);
    LRESULT handle(UINT message, WPARAM wide, LPARAM large);
    void set_client(editor_size wanted);
    void set_style();
    void place();
    void correct_size();
    void focus_editor();
    bool on_key(bool down, WPARAM key);
    void on_sizing(WPARAM edge, RECT& wanted);
    void on_activate(bool active);
    void on_dpi_changed(const RECT& suggested);

    HWND window_ = nullptr;
    HWND owner_ = nullptr;
    HWND focus_ = nullptr; // of the editor's windows, the one that had the focus last
    events events_;
    std::unique_ptr<effect_editor> editor_;
    bool sizing_ = false;     // by us
    uint64_t sized_at_ = 0;   // by others; 0: looked at
    editor_size too_small_{}; // the size that was corrected last
};

} // namespace vsthost
