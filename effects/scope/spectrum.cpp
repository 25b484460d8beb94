#include "effects/scope/spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace scope {

namespace {

using value = std::complex<double>;

// In place, radix 2.
void transform(std::span<value> data)
{
    const std::size_t size = data.size();
    for (std::size_t i = 1, j = 0; i < size; ++i) { // into bit-reversed order
        std::size_t bit = size >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(data[i], data[j]);
    }
    for (std::size_t span = 2; span <= size; span *= 2) {
        const value turn = std::polar(1.0, -2 * std::numbers::pi / static_cast<double>(span));
        for (std::size_t start = 0; start < size; start += span) {
            value factor = 1;
            for (std::size_t k = start; k < start + span / 2; ++k, factor *= turn) {
                const value odd = data[k + span / 2] * factor;
                data[k + span / 2] = data[k] - odd;
                data[k] += odd;
            }
        }
    }
}

} // namespace

std::vector<double> spectrum(std::span<const float> samples, double rate, std::size_t bands)
{
    std::vector<value> data(spectrum_frames);
    for (std::size_t n = 0; n < std::min(samples.size(), data.size()); ++n) {
        const double hann =
            0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(n) / spectrum_frames);
        data[n] = std::isfinite(samples[n]) ? hann * static_cast<double>(samples[n]) : 0.0;
    }
    transform(data);
    std::vector<double> decibels(bands, spectrum_floor);
    const double octaves = std::log2(highest_band / lowest_band);
    const auto bin_of = [&](std::size_t edge) {
        const double frequency =
            lowest_band * std::exp2(octaves * static_cast<double>(edge) / static_cast<double>(bands));
        return static_cast<std::size_t>(std::lround(frequency * spectrum_frames / rate));
    };
    for (std::size_t b = 0; b < bands; ++b) {
        // The low bands are narrower than a bin: each shows the one it lies in.
        const std::size_t first = bin_of(b), end = std::max(first + 1, bin_of(b + 1));
        double most = 0;
        for (std::size_t bin = first; bin < std::min(end, spectrum_frames / 2); ++bin)
            most = std::max(most, std::abs(data[bin]) * 4 / spectrum_frames); // the window halves a sine
        if (most > 0)
            decibels[b] = std::max(spectrum_floor, 20 * std::log10(most));
    }
    return decibels;
}

} // namespace scope
