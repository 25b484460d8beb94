#pragma once
// How loud the bands of a sound are.

#include <cstddef>
#include <span>
#include <vector>

namespace scope {

inline constexpr std::size_t spectrum_frames = 4096;
inline constexpr double lowest_band = 31.5, highest_band = 20000; // hertz
inline constexpr double spectrum_floor = -90;                     // decibels

// Decibels of each of `bands` bands of equal width in octaves between the two frequencies, 0 for a sine at
// full scale; at least spectrum_floor. `samples` are spectrum_frames; NaN and infinities count as silence.
std::vector<double> spectrum(std::span<const float> samples, double rate, std::size_t bands);

} // namespace scope
