#pragma once
// Windows of one kind that would open on top of one another.

#include <windows.h>

namespace win {

// Where the corner of `window`, which is not shown yet, goes when it is wanted at a place: onto `screen`, and
// there so that its title bar is on that of no other window of its class, of whatever process. Such bars lie
// further down and across, to the left when asked; where the screen ends it goes on at the other side.
POINT cascaded(HWND window, POINT wanted, const RECT& screen, bool leftwards = false) noexcept;

} // namespace win
