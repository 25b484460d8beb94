// Interleaving and conversion in the worker, held against memcpy of the pipe's bytes.

#include "benches/figures.h"
#include "vsthost/audio_io.h"

#include <cstring>

namespace bench {

namespace {

constexpr size_t frames = 1024; // a worker's block

template <class Work>
void one(const options& how, const std::string& name, size_t channels, Work&& work)
{
    if (!wanted(how, name))
        return;
    const size_t samples = frames * channels;
    std::vector<double> pipe(samples), copy(samples);
    for (size_t i = 0; i < samples; ++i)
        pipe[i] = static_cast<double>(i % 200) / 400 - 0.25;
    print(compare(
        how, name, 3, [&] { work(pipe.data(), copy.data()); },
        [&] {
            std::memcpy(copy.data(), pipe.data(), samples * sizeof(double));
            // Else nobody needs the copy.
            __asm__ volatile("" : : "r"(copy.data()) : "memory");
        }));
}

} // namespace

void sample_figures(const options& how)
{
    options often = how;
    often.seconds = how.seconds / 2;
    for (const bool is_double : {false, true})
        for (const size_t channels : {1u, 2u, 6u, 8u}) {
            const std::string which =
                std::to_string(channels) + " channels, " + (is_double ? "64" : "32") + " bits";
            vsthost::audio_io io;
            io.allocate(is_double, channels, 0, channels, frames);
            one(often, "apart, " + which, channels,
                [&](const double* pipe, double*) { io.load(pipe, channels, frames); });
            one(often, "together, " + which, channels,
                [&](const double*, double* copy) { io.store(copy, channels, frames); });
        }
}

} // namespace bench
