#pragma once
// Dots per inch, on systems of any age.

#include <windows.h>

namespace vsthost {

// Before the first window, on the thread that will show them, for the whole process if the system lets it:
// aware of every screen's own resolution, or drawn at 96 dots per inch and stretched by the system.
void set_dpi_awareness(bool aware);

unsigned dpi_of(HWND window); // 96 is plain

// The window's size around a client area.
SIZE window_size(HWND window, SIZE client);

} // namespace vsthost
