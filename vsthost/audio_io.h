#pragma once
// The buffers between the pipe's interleaved samples and an effect's separate channels: one block at the size
// announced to the effect, in the sample size it takes. Pure; allocates only in allocate().

#include "vsthost/samples.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vsthost {

class audio_io {
public:
    // `in` and `out` count the channels of the effect that the pipe's channels are mapped to; it has `side`
    // more inputs behind them, which get silence.
    void allocate(bool is_double, size_t in, size_t side, size_t out, size_t block_size)
    {
        is_double_ = is_double;
        main_in_ = in;
        block_size_ = block_size;
        in_.allocate(is_double, in + side, block_size);
        out_.allocate(is_double, out, block_size);
    }

    bool is_double() const noexcept { return is_double_; }
    size_t block_size() const noexcept { return block_size_; }
    size_t in_channels() const noexcept { return in_.count; }
    size_t out_channels() const noexcept { return out_.count; }

    // The effect's view; arrays of channel pointers, never null.
    float** in32() noexcept { return in_.single_pointers.data(); }
    float** out32() noexcept { return out_.single_pointers.data(); }
    double** in64() noexcept { return in_.double_pointers.data(); }
    double** out64() noexcept { return out_.double_pointers.data(); }

    // A bit for each silent channel: set by load() for the inputs, by the effect for the outputs.
    uint64_t in_silence = 0;
    uint64_t out_silence = 0;

    // Interleaved samples of `pipe_channels` channels; at most block_size() frames, here and below.
    void load(const double* in, size_t pipe_channels, size_t frames)
    {
        in_silence = is_double_ ? deinterleave(in, pipe_channels, frames, in64(), main_in_, in_channels())
                                : deinterleave(in, pipe_channels, frames, in32(), main_in_, in_channels());
        out_silence = 0;
    }
    // Channels that are flagged silent count as zeros. Returns how many samples were no numbers.
    size_t store(double* out, size_t pipe_channels, size_t frames)
    {
        return is_double_ ? interleave(out64(), out_channels(), out_silence, frames, out, pipe_channels)
                          : interleave(out32(), out_channels(), out_silence, frames, out, pipe_channels);
    }
    void clear_input(size_t frames)
    {
        for (size_t c = 0; c < in_channels(); ++c) {
            if (is_double_)
                std::fill_n(in64()[c], frames, 0.0);
            else
                std::fill_n(in32()[c], frames, 0.0f);
        }
    }
    void clear_output(size_t frames)
    {
        for (size_t c = 0; c < out_channels(); ++c)
            for (size_t i = 0; i < frames; ++i) {
                if (is_double_)
                    out64()[c][i] = 0.0;
                else
                    out32()[c][i] = 0.0f;
            }
    }

private:
    struct channels {
        size_t count = 0;
        std::vector<float> singles;
        std::vector<double> doubles;
        std::vector<float*> single_pointers{1};
        std::vector<double*> double_pointers{1};

        void allocate(bool is_double, size_t wanted, size_t block_size)
        {
            count = wanted;
            singles.assign(is_double ? 0 : count * block_size, 0.0f);
            doubles.assign(is_double ? count * block_size : 0, 0.0);
            single_pointers.assign(count + 1, nullptr);
            double_pointers.assign(count + 1, nullptr);
            for (size_t c = 0; c < count; ++c) {
                if (is_double)
                    double_pointers[c] = doubles.data() + c * block_size;
                else
                    single_pointers[c] = singles.data() + c * block_size;
            }
        }
    };

    bool is_double_ = false;
    size_t block_size_ = 0;
    size_t main_in_ = 0;
    channels in_;
    channels out_;
};

} // namespace vsthost
