// Every sample effect sounds the same through a worker as in a host's own process, bit for bit.

#include "effects/plugin_driver.h"
#include "vsthost/worker_driver.h"

#include <doctest/doctest.h>

#include <xmmintrin.h>

#include <algorithm>

using worker_driver::launch;
using worker_driver::worker;

namespace {

constexpr std::size_t announced = 1024; // what a worker announces to the effect
constexpr uint32_t channels = 2;

// Denormals count as zero, as in a worker's audio thread.
class without_denormals {
public:
    without_denormals()
        : before_(_mm_getcsr())
    {
        _mm_setcsr(before_ | 0x8040);
    }
    ~without_denormals() { _mm_setcsr(before_); }
    without_denormals(const without_denormals&) = delete;
    without_denormals& operator=(const without_denormals&) = delete;

private:
    unsigned before_;
};

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
std::vector<double> direct(plugin_driver& plugin, const std::vector<double>& chunk)
{
    const std::size_t frames = chunk.size() / channels;
    std::vector<std::vector<Sample>> apart(channels, std::vector<Sample>(frames));
    for (std::size_t i = 0; i < chunk.size(); ++i)
        apart[i % channels][i / channels] = static_cast<Sample>(chunk[i]);
    std::vector<std::vector<Sample>> heard;
    {
        const without_denormals now;
        heard = plugin.run(apart, std::min(frames, announced));
    }
    std::vector<double> together(chunk.size());
    for (std::size_t i = 0; i < chunk.size(); ++i)
        together[i] = static_cast<double>(heard[i % channels][i / channels]);
    return together;
}

} // namespace

TEST_CASE("the sample effects render the same through a worker and directly, at every chunk size")
{
    const std::string arch = sizeof(void*) == 8 ? "x64" : "x86";
    const Nv::streamFormat stereo{44100, channels, 0x3, channels, 0x3};
    for (const std::string file : {"qvxGain.dll", "qvxGain.vst3", "qvxEcho.dll", "qvxEcho.vst3"})
        for (const bool use_double : {false, true}) {
            const auto plugin = open_plugin(effect_path(std::wstring(file.begin(), file.end())));
            if (use_double && !plugin->can_double())
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
                plugin->start(44100, announced, use_double);
                const std::vector<double> input = noise(chunks * frames * channels);
                std::size_t differing = 0;
                for (std::size_t i = 0; i < chunks; ++i) {
                    const auto first = input.begin() + static_cast<std::ptrdiff_t>(i * frames * channels);
                    const std::vector<double> chunk(first,
                                                    first + static_cast<std::ptrdiff_t>(frames * channels));
                    const std::vector<double> expected =
                        use_double ? direct<double>(*plugin, chunk) : direct<float>(*plugin, chunk);
                    differing += with.process(chunk, channels).audio != expected ? 1u : 0u;
                }
                CHECK(differing == 0);
            }
        }
}
