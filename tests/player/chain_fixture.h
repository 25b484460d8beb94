#pragma once
// Renders of generated sound through the shipped player, component, workers and effects, and the sound that
// must come out, computed here from the effects' documented arithmetic.

#include "run_program.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Interleaved samples as a 32-bit floating-point WAV holds them.
struct sound {
    uint32_t rate = 44100;
    uint32_t channels = 2;
    std::vector<float> samples;

    size_t frames() const { return channels == 0 ? 0 : samples.size() / channels; }
    sound part(size_t first_frame, size_t frame_count) const;
    void append(const sound& more)
    {
        samples.insert(samples.end(), more.samples.begin(), more.samples.end());
    }
    void append_silence(size_t frame_count) { samples.resize(samples.size() + frame_count * channels); }
};

// Noise below a half of full scale, no two channels alike; the same for the same seed.
sound noise(uint32_t rate, uint32_t channels, size_t frames, uint32_t seed = 1);

// qvxEcho at its defaults, started afresh: as many frames as `input`.
sound echoed(const sound& input);
// qvxGain at its default, a half.
sound halved(sound input);

inline constexpr size_t no_difference = static_cast<size_t>(-1);
// The first sample at which they differ; at the shorter one's end when one is longer.
size_t first_difference(const std::vector<float>& a, const std::vector<float>& b);
// The number of frames up to the last one with a sample of -90 dB or more.
size_t audible_frames(const sound& of, size_t from_frame);

class chain_fixture {
public:
    void write(const std::string& name, const sound& content) const;
    sound read(const std::string& name) const;
    // The file's channel mask.
    uint32_t mask_of(const std::string& name) const;
    bool exists(const std::string& name) const;

    // "--config" with the store of this fixture, "render", the inputs, out.wav.
    std::vector<std::string> render_arguments(const std::vector<std::string>& inputs,
                                              const std::vector<std::string>& more) const;
    program_result run(const std::vector<std::string>& arguments) const;
    // A render that must succeed, its console lines in `err` and its --json in `report`.
    void render(const std::vector<std::string>& inputs, std::vector<std::string> more);
    // Lines with which workers told what they loaded.
    size_t workers_started() const;

    static std::string player() { return dist_folder() + "\\qvxplayer.exe"; }
    // "qvxEcho.vst3" for "x64" or "x86".
    static std::string effect(const std::string& file, const std::string& arch);
    // A module of the tests, of this program's bitness.
    static std::string module(const std::string& file) { return tests_folder() + "\\modules\\" + file; }

    temp_folder folder;
    std::string err;
    nlohmann::json report;
};

// The block in which a worker feeds silence while it listens to a tail.
inline constexpr size_t tail_block = 1024;

struct two_effects {
    std::string name;
    std::vector<std::string> arguments; // the echo, then the gain
};
// VST 3 in 64 bits, then VST 2 in 32; VST 2 in 32 bits, then VST 3 in 64.
std::vector<two_effects> mixed_chains();

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more);

// The echo of `input` as far as a worker hands it back: to the end of the block with the last audible sample.
// `tail_frames` is what came; checks that it is what was to come.
sound echoed_with_tail(const sound& input, size_t tail_frames);
