#pragma once
// The arithmetic of the echo, one channel of it. All of it is IEEE single precision, one rounding an
// operation, so that a test can recompute the output sample by sample:
//
//   D    = max(1, floor(delay_ms * rate / 1000 + 0.5))          in double precision
//   d    = line[n - D]                                          0 before the start
//   line[n] = x[n] + feedback * d                               0 when its magnitude is below 1e-15
//   y[n] = (1 - mix) * x[n] + mix * d
//
// Small values are cut to zero so that the echo dies away for good and never computes with denormals: the
// result is the same whether the host flushes these or not. A change of D moves the point of reading at once.

#include <cmath>
#include <cstddef>
#include <vector>

namespace echo {

inline constexpr double max_delay_ms = 2000.0;
inline constexpr float silence = 1e-15f;

// D above, for any rate from 8 to 192 kHz.
inline std::size_t delay_in_samples(double delay_ms, double rate)
{
    const double samples = std::floor(delay_ms * rate / 1000.0 + 0.5);
    return samples < 1.0 ? 1 : static_cast<std::size_t>(samples);
}

class line {
public:
    // Forgets what was heard. Allocates: not for the audio thread.
    void reset(double rate)
    {
        history_.assign(delay_in_samples(max_delay_ms, rate) + 1, 0.0f);
        position_ = 0;
    }

    // In place is fine. delay is at most what reset() made room for.
    void run(const float* in, float* out, std::size_t frames, std::size_t delay, float feedback,
             float mix) noexcept
    {
        const std::size_t size = history_.size();
        if (delay >= size)
            delay = size - 1;
        for (std::size_t n = 0; n < frames; ++n) {
            const float x = in[n];
            const float d = history_[position_ >= delay ? position_ - delay : position_ + size - delay];
            const float kept = x + feedback * d;
            history_[position_] = std::fabs(kept) < silence ? 0.0f : kept;
            position_ = position_ + 1 == size ? 0 : position_ + 1;
            out[n] = (1.0f - mix) * x + mix * d;
        }
    }

private:
    std::vector<float> history_ = std::vector<float>(2, 0.0f);
    std::size_t position_ = 0;
};

} // namespace echo
