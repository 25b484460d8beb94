#include "chain_fixture.h"

#include "player/wav/wav_file.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

sound sound::part(size_t first_frame, size_t frame_count) const
{
    const float* const first = samples.data() + first_frame * channels;
    return {rate, channels, std::vector<float>(first, first + frame_count * channels)};
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

size_t first_difference(const sound& a, const sound& b)
{
    const auto [left, right] =
        std::mismatch(a.samples.begin(), a.samples.end(), b.samples.begin(), b.samples.end());
    return left == a.samples.end() && right == b.samples.end()
               ? no_difference
               : static_cast<size_t>(left - a.samples.begin());
}

void chain_fixture::write(const std::string& name, const sound& content) const
{
    player::wav_writer writer(folder.path(name));
    writer.begin(
        {player::sample_type::float32, content.rate, content.channels, content.channels == 1 ? 4u : 3u});
    const std::vector<double> samples(content.samples.begin(), content.samples.end());
    writer.write(samples.data(), content.frames());
    writer.finish();
}

sound chain_fixture::read(const std::string& name, uint32_t* mask) const
{
    player::wav_reader reader(folder.path(name));
    REQUIRE(reader.format().type == player::sample_type::float32);
    if (mask)
        *mask = reader.format().mask;
    const auto frames = static_cast<size_t>(reader.frame_count());
    std::vector<double> samples(frames * reader.format().channels);
    for (size_t done = 0; done < frames;)
        done += reader.read(&samples[done * reader.format().channels], frames - done);
    return {reader.format().rate, reader.format().channels, {samples.begin(), samples.end()}};
}

sound chain_fixture::render(const strings& inputs, const strings& more)
{
    strings arguments = {"render"};
    for (const std::string& input : inputs)
        arguments.push_back(folder.path(input));
    const program_result result = run(with(with(arguments, {folder.path("out.wav"), "--json"}), more));
    err = result.err;
    CAPTURE(err);
    REQUIRE(result.exit_code == 0);
    report = nlohmann::json::parse(result.out);
    return read("out.wav");
}

size_t chain_fixture::workers_started() const
{
    const std::string start = "VST: qvxVSTHost";
    size_t count = 0;
    for (size_t at = err.find(start); at != std::string::npos; at = err.find(start, at + 1))
        ++count;
    return count;
}

std::vector<strings> mixed_chains()
{
    return {
        {"--effect", shipped_effect("qvxEcho.vst3", "x64"), "--effect", shipped_effect("qvxGain.dll", "x86")},
        {"--effect", shipped_effect("qvxEcho.dll", "x86"), "--effect",
         shipped_effect("qvxGain.vst3", "x64")}};
}

void check_echoed_with_tail(const sound& input, const sound& output)
{
    constexpr float inaudible = 3.16227766e-5f; // -90 dB
    sound longer = input;
    longer.append_silence(10 * input.rate);
    const sound whole = echoed(longer);
    size_t end = whole.samples.size();
    while (std::fabs(whole.samples[end - 1]) < inaudible)
        --end;
    const size_t audible = (end + whole.channels - 1) / whole.channels;
    CHECK(output.frames() >= audible);
    REQUIRE(output.frames() < audible + tail_block);
    CHECK(first_difference(output, halved(whole.part(0, output.frames()))) == no_difference);
}
