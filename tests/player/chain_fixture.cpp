#include "chain_fixture.h"

#include "player/system/os_path.h"
#include "player/wav/wav_file.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr size_t block_frames = 65536;
constexpr float inaudible = 3.16227766e-5f; // -90 dB
const std::string own_arch = sizeof(void*) == 8 ? "x64" : "x86";

} // namespace

sound sound::part(size_t first_frame, size_t frame_count) const
{
    const size_t first = first_frame * channels;
    return {rate, channels,
            std::vector<float>(&samples[first], samples.data() + first + frame_count * channels)};
}

sound noise(uint32_t rate, uint32_t channels, size_t frames, uint32_t seed)
{
    sound made{rate, channels, std::vector<float>(frames * channels)};
    uint32_t state = seed;
    for (float& sample : made.samples) {
        state = state * 1664525 + 1013904223;
        sample = static_cast<float>(static_cast<int32_t>(state) >> 8) / 16777216.0f;
    }
    return made;
}

sound echoed(const sound& input)
{
    // Its documented arithmetic, on a plain array rather than a ring: 250 ms, feedback 0.5, mix 0.25.
    const size_t delay = input.rate / 4 * input.channels;
    sound output = input;
    std::vector<float> line(input.samples.size());
    for (size_t i = 0; i < line.size(); ++i) {
        const float late = i >= delay ? line[i - delay] : 0.0f;
        line[i] = input.samples[i] + 0.5f * late;
        if (std::fabs(line[i]) < 1e-15f)
            line[i] = 0;
        output.samples[i] = 0.75f * input.samples[i] + 0.25f * late;
    }
    return output;
}

sound halved(sound input)
{
    for (float& sample : input.samples)
        sample *= 0.5f;
    return input;
}

size_t first_difference(const std::vector<float>& a, const std::vector<float>& b)
{
    const auto [left, right] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return left == a.end() && right == b.end() ? no_difference : static_cast<size_t>(left - a.begin());
}

size_t audible_frames(const sound& of, size_t from_frame)
{
    size_t end = of.samples.size();
    while (end > from_frame * of.channels && std::fabs(of.samples[end - 1]) < inaudible)
        --end;
    return (end + of.channels - 1) / of.channels - from_frame;
}

void chain_fixture::write(const std::string& name, const sound& content) const
{
    player::wav_writer writer(folder.path(name));
    writer.begin(
        {player::sample_type::float32, content.rate, content.channels, content.channels == 1 ? 4u : 3u});
    std::vector<double> block;
    for (size_t done = 0; done < content.frames(); done += block_frames) {
        const size_t now = std::min(block_frames, content.frames() - done);
        const float* const first = content.samples.data() + done * content.channels;
        block.assign(first, first + now * content.channels);
        writer.write(block.data(), now);
    }
    writer.finish();
}

sound chain_fixture::read(const std::string& name) const
{
    player::wav_reader reader(folder.path(name));
    REQUIRE(reader.format().type == player::sample_type::float32);
    sound content{reader.format().rate, reader.format().channels, {}};
    content.samples.reserve(static_cast<size_t>(reader.frame_count()) * content.channels);
    std::vector<double> block(block_frames * content.channels);
    while (const size_t now = reader.read(block.data(), block_frames)) {
        for (size_t i = 0; i < now * content.channels; ++i)
            content.samples.push_back(static_cast<float>(block[i]));
    }
    return content;
}

uint32_t chain_fixture::mask_of(const std::string& name) const
{
    return player::wav_reader(folder.path(name)).format().mask;
}

bool chain_fixture::exists(const std::string& name) const
{
    return player::path_exists(folder.path(name));
}

std::vector<std::string> chain_fixture::render_arguments(const std::vector<std::string>& inputs,
                                                         const std::vector<std::string>& more) const
{
    std::vector<std::string> arguments = {"--config", folder.path("config.json"), "render"};
    for (const std::string& input : inputs)
        arguments.push_back(folder.path(input));
    arguments.push_back(folder.path("out.wav"));
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

program_result chain_fixture::run(const std::vector<std::string>& arguments) const
{
    return run_program(player(), arguments);
}

void chain_fixture::render(const std::vector<std::string>& inputs, std::vector<std::string> more)
{
    more.push_back("--json");
    const program_result result = run(render_arguments(inputs, more));
    err = result.err;
    CAPTURE(err);
    REQUIRE(result.exit_code == 0);
    report = nlohmann::json::parse(result.out);
}

size_t chain_fixture::workers_started() const
{
    const std::string start = "VST: qvxVSTHost";
    size_t count = 0;
    for (size_t at = err.find(start); at != std::string::npos; at = err.find(start, at + 1))
        ++count;
    return count;
}

std::string chain_fixture::effect(const std::string& file, const std::string& arch)
{
    const std::string dist = dist_folder();
    return dist.substr(0, dist.size() - own_arch.size()) + "effects\\" + arch + "\\" + file;
}

std::vector<two_effects> mixed_chains()
{
    const auto chain = [](const std::string& echo, const std::string& echo_arch, const std::string& gain,
                          const std::string& gain_arch) {
        return std::vector<std::string>{"--effect", chain_fixture::effect(echo, echo_arch), "--effect",
                                        chain_fixture::effect(gain, gain_arch)};
    };
    return {{"VST 3 in 64 bits, then VST 2 in 32", chain("qvxEcho.vst3", "x64", "qvxGain.dll", "x86")},
            {"VST 2 in 32 bits, then VST 3 in 64", chain("qvxEcho.dll", "x86", "qvxGain.vst3", "x64")}};
}

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more)
{
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

sound echoed_with_tail(const sound& input, size_t tail_frames)
{
    sound longer = input;
    longer.append_silence(10 * input.rate);
    sound whole = echoed(longer);
    const size_t audible = audible_frames(whole, input.frames());
    CHECK(tail_frames >= audible);
    CHECK(tail_frames < audible + tail_block);
    return whole.part(0, std::min(input.frames() + tail_frames, whole.frames()));
}
