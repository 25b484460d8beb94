#pragma once
// Measures that follow the resolution. Everything in pixels is of the window's own monitor, as far as the
// program told the system that it can tell monitors apart.

#include <windows.h>

namespace toolkit {

// Pixels of a measure that is given for 96 dots an inch.
int scaled(HWND window, int pixels) noexcept;

// Makes the labels of the dialog as wide as their texts where the template's width cuts them: fonts that
// stand in for the one that it was drawn with may run wider.
void widen_cut_labels(HWND dialog) noexcept;

// Pixels of a width in units of the dialog's font.
int dialog_units(HWND dialog, int units) noexcept;

} // namespace toolkit
