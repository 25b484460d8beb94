// Every pairing of input layout, the worker's answer and the effect's output override, sample by sample.

#include "dsp_under_test.h"

#include "support/test_host.h"

#include <doctest/doctest.h>

#include <bit>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t frame_count = 3;
constexpr uint32_t input_counts[] = {1, 2, 6, 8};
constexpr uint32_t declared_counts[] = {0, 1, 2, 4, 6, 8};

// Distinct patterns that arithmetic would not leave alone: signalling NaNs with the sample's number.
uint64_t pattern(size_t frame, size_t channel)
{
    return 0x7FF4000000000000 | (frame + 1) << 8 | (channel + 1);
}

uint32_t count_of(uint32_t mask)
{
    return static_cast<uint32_t>(std::popcount(mask));
}

struct channel_case {
    uint32_t declared;
    uint32_t declared_mask;
    uint32_t override_mask;

    uint32_t output_channels() const { return override_mask ? count_of(override_mask) : declared; }
    uint32_t output_mask() const
    {
        if (override_mask)
            return override_mask;
        if (count_of(declared_mask) == declared && declared != 0)
            return declared_mask;
        return declared == 1 ? 0x4 : declared == 2 ? 0x3 : 0;
    }
};

std::vector<channel_case> all_cases()
{
    std::vector<channel_case> cases;
    for (const uint32_t declared : declared_counts) {
        const uint32_t valid = ((1u << declared) - 1) << 1; // not the layout that would be the default
        for (const uint32_t mask : {valid, valid | 0x40000000, 0u}) {
            for (const uint32_t override_mask : offeredOutputChannelMasks)
                cases.push_back({declared, mask, override_mask});
        }
    }
    return cases;
}

// "" when the chunk is what it should be.
std::string fault_of(const audio_chunk& chunk, const channel_case& expected, uint32_t inputs)
{
    const uint32_t outputs = expected.output_channels();
    if (chunk.get_channel_count() != outputs || chunk.get_channel_config() != expected.output_mask())
        return "layout " + std::to_string(chunk.get_channel_count()) + "/" +
               std::to_string(chunk.get_channel_config());
    if (chunk.get_sample_rate() != 48000 || chunk.get_sample_count() != frame_count)
        return "rate or frames";
    if (outputs == 0)
        return chunk.get_data() ? "samples without channels" : "";
    for (size_t frame = 0; frame < frame_count; ++frame) {
        for (size_t channel = 0; channel < outputs; ++channel) {
            const bool heard = channel < inputs && channel < expected.declared;
            const uint64_t wanted = heard ? pattern(frame, channel) : 0;
            if (std::memcmp(chunk.get_data() + frame * outputs + channel, &wanted, sizeof(wanted)) != 0)
                return "frame " + std::to_string(frame) + " channel " + std::to_string(channel);
        }
    }
    return "";
}

// One worker goes through all of them, by a seek before each. Says which ones went wrong.
std::string play_cases(uint32_t inputs)
{
    const std::vector<channel_case> cases = all_cases();
    std::string script = "connect\n";
    for (size_t i = 0; i < cases.size(); ++i) {
        script += "format = = 0 " + std::to_string(cases[i].declared) + " " +
                  std::to_string(cases[i].declared_mask) + "\nserve " + (i == 0 ? "3" : "4") + "\n";
    }
    dsp_under_test test(script + "hang");
    std::string faults;
    for (const channel_case& each : cases) {
        vstConfig_t config = test.config;
        config.outputChannelMask = each.override_mask;
        test.apply(config);
        if (&each != &cases.front())
            test.dsp->flush();

        test.list.remove_all();
        audio_chunk& chunk = *test.list.add_item();
        fill_chunk(chunk, {48000, inputs, 0, frame_count, 0});
        for (size_t frame = 0; frame < frame_count; ++frame) {
            for (size_t channel = 0; channel < inputs; ++channel) {
                const uint64_t bits = pattern(frame, channel);
                std::memcpy(chunk.get_data() + frame * inputs + channel, &bits, sizeof(bits));
            }
        }
        test.dsp->run(test.list, nullptr, 0);
        const std::string fault =
            test.list.get_count() == 1 ? fault_of(*test.list.get_item(0), each, inputs) : "chunk count";
        if (!fault.empty()) {
            char line[120];
            std::snprintf(line, sizeof(line),
                          "declared %u mask 0x%X override 0x%X: ", static_cast<unsigned>(each.declared),
                          static_cast<unsigned>(each.declared_mask),
                          static_cast<unsigned>(each.override_mask));
            faults += line + fault + "\n";
        }
    }
    return faults;
}

} // namespace

TEST_CASE("channels: inputs, what the worker declares, overrides and masks in every pairing")
{
    const test_host host;
    fake_worker::use_for_launches();
    std::vector<scenario> scenarios;
    for (const uint32_t inputs : input_counts) {
        scenarios.push_back(
            {std::to_string(inputs) + " inputs", "", [inputs] { return play_cases(inputs); }});
    }
    check_side_by_side(scenarios);
}
