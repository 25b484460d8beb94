#pragma once
// Renders of generated sound through the shipped player, component, workers and effects, and the sound that
// must come out, computed here from the effects' documented arithmetic.

#include "run_program.h"

#include <nlohmann/json.hpp>

#include <cstdint>

// Interleaved samples as a 32-bit floating-point WAV holds them.
struct sound {
    uint32_t rate = 44100;
    uint32_t channels = 2;
    std::vector<float> samples;

    size_t frames() const { return samples.size() / channels; }
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
size_t first_difference(const sound& a, const sound& b);

struct chain_fixture : player_fixture {
    void write(const std::string& name, const sound& content) const;
    sound read(const std::string& name, uint32_t* mask = nullptr) const;
    // A render that must succeed, its console lines in `err` and its --json in `report`.
    sound render(const strings& inputs, const strings& more);
    // Lines with which workers told what they loaded.
    size_t workers_started() const;

    std::string err;
    nlohmann::json report;
};

// The block in which a worker feeds silence while it listens to a tail.
inline constexpr size_t tail_block = 1024;

// The echo, then the gain, as options: VST 3 in 64 bits, then VST 2 in 32; VST 2 in 32 bits, then VST 3
// in 64.
std::vector<strings> mixed_chains();

// Whether `output` is the halved echo of `input` as far as a worker hands it back: to the end of the block
// with the last sample of -90 dB or more.
void check_echoed_with_tail(const sound& input, const sound& output);
