#pragma once
// The window that a real worker opens on one of ours, as a test sees and touches it.

#include "support/shipped.h"

#include <cstdint>
#include <string>
#include <vector>

// Makes every launch start the shipped workers.
void use_shipped_workers();

// A window of ours that stands where an editor's owner stands.
class owner_window {
public:
    owner_window();
    ~owner_window() { DestroyWindow(handle_); }
    owner_window(const owner_window&) = delete;
    owner_window& operator=(const owner_window&) = delete;
    HWND handle() const { return handle_; }

private:
    HWND handle_;
};

// The visible windows that this one owns, of whatever process.
std::vector<HWND> owned_windows(HWND owner);
// The editor in a worker's window: its innermost first child.
HWND editor_in(HWND window);
void press(HWND editor, WPARAM key);
std::string title_of(HWND window);
// What the screen shows of the window's inside, as colours row by row.
std::vector<uint32_t> pixels_of(HWND window);
