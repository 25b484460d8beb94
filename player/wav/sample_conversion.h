#pragma once
// Between the samples of a WAV file (little-endian, packed) and doubles in -1..1. Pure. 64-bit floats pass
// bit for bit both ways.

#include "player/wav/wav_format.h"

namespace player {

// `out` has room for `sample_count` samples; `bytes` holds that many of `type`.
void samples_to_doubles(sample_type type, const uint8_t* bytes, double* out, size_t sample_count) noexcept;

// Integers are rounded to the nearest step (halves to the even one) and clipped at full scale, without
// dither; a sample that is not a number becomes 0 in them. `bytes` has room for `sample_count` samples of
// `type`.
void doubles_to_samples(sample_type type, const double* in, uint8_t* bytes, size_t sample_count) noexcept;

} // namespace player
