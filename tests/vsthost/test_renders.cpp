// Every sample effect sounds the same through a worker as in a host's own process, bit for bit.

#include "benches/direct_effect.h"
#include "vsthost/worker_driver.h"
#include "win/utf.h"

#include <doctest/doctest.h>

#include <xmmintrin.h>

#include <algorithm>

using worker_driver::launch;
using worker_driver::worker;

namespace {

constexpr std::size_t announced = 1024; // what a worker announces to the effect
constexpr uint32_t channels = 2;

std::vector<double> noise(std::size_t count)
{
    std::vector<double> samples(count);
    uint32_t random = 2463534242u;
    for (double& sample : samples) {
        random = random * 1664525u + 1013904223u;
        sample = static_cast<double>(static_cast<int32_t>(random)) / 3.1e9;
    }
    return samples;
}

// One chunk from the pipe: apart by channel, in the blocks of a worker, together again.
template <class Sample>
std::vector<double> direct(bench::direct_effect& effect, const std::vector<double>& chunk)
{
    const std::size_t frames = chunk.size() / channels;
    std::vector<Sample> in(chunk.size()), out(chunk.size());
    for (std::size_t i = 0; i < chunk.size(); ++i)
        in[i % channels * frames + i / channels] = static_cast<Sample>(chunk[i]);
    const unsigned before = _mm_getcsr();
    _mm_setcsr(before | 0x8040); // denormals count as zero, as in a worker's audio thread
    for (std::size_t at = 0; at < frames; at += announced) {
        const Sample* from[] = {&in[at], &in[frames + at]};
        Sample* to[] = {&out[at], &out[frames + at]};
        effect.process(from, to, static_cast<int>(std::min(frames - at, announced)));
    }
    _mm_setcsr(before);
    std::vector<double> together(chunk.size());
    for (std::size_t i = 0; i < chunk.size(); ++i)
        together[i] = static_cast<double>(out[i % channels * frames + i / channels]);
    return together;
}

} // namespace

TEST_CASE("the sample effects render the same through a worker and directly, at every chunk size")
{
    const std::string arch = sizeof(void*) == 8 ? "x64" : "x86";
    const Nv::streamFormat stereo{44100, channels, 0x3, channels, 0x3};
    for (const std::string file :
         {"qvxGain.dll", "qvxGain.vst3", "qvxEcho.dll", "qvxEcho.vst3", "qvxScope.dll", "qvxScope.vst3"})
        for (const bool use_double : {false, true}) {
            const auto effect =
                bench::load_direct_effect(win::to_utf16(worker_driver::effect_path(arch, file)));
            if (use_double && !effect->takes_doubles())
                continue;
            CAPTURE(file);
            CAPTURE(use_double);
            launch how{arch, worker_driver::effect_path(arch, file), file.ends_with(".vst3") ? 3 : 2};
            how.float64 = use_double;
            worker with(how);
            for (const std::size_t frames : {1u, 64u, 441u, 4096u, 100000u}) {
                CAPTURE(frames);
                // Long enough that an echo comes back, at the sizes that a player uses.
                const std::size_t chunks = std::clamp<std::size_t>(30000 / frames, 2, 200);
                with.reset();
                with.set_state({});
                REQUIRE(with.set_format(stereo) == stereo);
                effect->start(44100, announced, use_double);
                const std::vector<double> input = noise(chunks * frames * channels);
                std::size_t differing = 0;
                for (std::size_t i = 0; i < chunks; ++i) {
                    const auto first = input.begin() + static_cast<std::ptrdiff_t>(i * frames * channels);
                    const std::vector<double> chunk(first,
                                                    first + static_cast<std::ptrdiff_t>(frames * channels));
                    const std::vector<double> expected =
                        use_double ? direct<double>(*effect, chunk) : direct<float>(*effect, chunk);
                    differing += with.process(chunk, channels).audio != expected ? 1u : 0u;
                }
                CHECK(differing == 0);
            }
        }
}
