#pragma once
// What pictures and the panel draw with.

#include "effects/panel/layout.h"

#include <windows.h>

namespace panel {

void fill(HDC dc, const box& area, COLORREF colour);

} // namespace panel
