#pragma once
// A dialog from a template of this module. Main thread only.

#include <windows.h>

#include <exception>
#include <memory>

namespace toolkit {

// Base of the dialogs. While a message is handled the window, and with it the object, may be asked to go: by
// the player from inside a callback, or by the user from inside a picker's message loop. So everything that
// runs such code looks at window() afterwards, and an object that its window's end may free says who keeps it
// (keep_alive).
class dialog_window {
public:
    HWND window() const noexcept { return window_; } // null before the creation and after the end
    dialog_window(const dialog_window&) = delete;
    dialog_window& operator=(const dialog_window&) = delete;

    // Destroys the window if there is one; on_destroy and on_gone are called inside.
    void destroy() noexcept;

protected:
    explicit dialog_window(int template_id) noexcept
        : template_id_(template_id)
    {
    }
    // The window must be gone, or a final class's destructor calls destroy().
    virtual ~dialog_window() = default;

    // Modeless: makes the window, not yet shown; the player's message loop gives it the dialog keys while it
    // lives. Throws exception_win32, and what on_init throws.
    void create(HWND owner);
    // Modal: returns when end() was called, with its value. Modeless dialogs of this module keep their dialog
    // keys meanwhile. Throws as create does.
    INT_PTR run(HWND owner);
    void end(INT_PTR result) noexcept; // of a modal one

    virtual void on_init() = 0; // the controls are there; the first one then gets the focus
    virtual void on_command(int id, int code, HWND control) = 0;
    virtual bool on_notify(NMHDR&) { return false; }
    virtual void on_close() = 0;       // the close box or Escape
    virtual void on_destroy() {}       // the controls are still there
    virtual void on_gone() noexcept {} // the window is not; may drop the last reference to the object

    // Something that keeps the object alive while it is held; empty for one whose maker waits for its window.
    virtual std::shared_ptr<const void> keep_alive() noexcept { return {}; }

    HWND control(int id) const noexcept { return GetDlgItem(window_, id); }
    // Does not leave the focus on a disabled control, where no key would get it away.
    void enable(int id, bool enabled) noexcept;
    // A line on the console: `what`, then why.
    static void report(const char* what, const std::exception& failure) noexcept;

private:
    static INT_PTR CALLBACK procedure(HWND, UINT, WPARAM, LPARAM) noexcept;
    INT_PTR handle(UINT message, WPARAM first, LPARAM second);
    void begin(HWND window);

    const int template_id_;
    HWND window_ = nullptr;
    bool modal_ = false;
    std::exception_ptr failure_; // of on_init
};

} // namespace toolkit
