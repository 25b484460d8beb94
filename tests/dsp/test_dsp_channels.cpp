// Every pairing of input layout, the worker's answer and the effect's output override, sample by sample.

#include "dsp_under_test.h"

#include "support/test_host.h"

#include <doctest/doctest.h>

#include <bit>
#include <cstdio>

namespace {

constexpr size_t frame_count = 3;

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
    for (const uint32_t declared : {0u, 1u, 2u, 4u, 6u, 8u}) {
        const uint32_t valid = ((1u << declared) - 1) << 1; // not the layout that would be the default
        for (const uint32_t mask : {valid, valid | 0x40000000, 0u}) {
            for (const uint32_t override_mask : offeredOutputChannelMasks)
                cases.push_back({declared, mask, override_mask});
        }
    }
    return cases;
}

std::string words_of(const channel_case& each)
{
    char words[120];
    std::snprintf(words, sizeof(words),
                  "declared %u mask 0x%X override 0x%X: ", static_cast<unsigned>(each.declared),
                  static_cast<unsigned>(each.declared_mask), static_cast<unsigned>(each.override_mask));
    return words;
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

        const std::string failure = test.run({48000, inputs, 0, frame_count, 1});
        const uint32_t outputs = each.output_channels();
        char layout[64];
        std::snprintf(layout, sizeof(layout), "48000/%u/0x%X*%u", static_cast<unsigned>(outputs),
                      static_cast<unsigned>(each.output_mask()), static_cast<unsigned>(frame_count));
        std::vector<double> wanted(frame_count * outputs);
        for (size_t i = 0; i < wanted.size(); ++i) {
            const size_t frame = i / outputs, channel = i % outputs;
            if (channel < inputs && channel < each.declared)
                wanted[i] = static_cast<double>(frame * inputs + channel + 1);
        }
        if (!failure.empty() || test.heard() != layout || test.samples(0) != wanted)
            faults += words_of(each) + failure + test.heard() + "\n";
    }
    return faults;
}

} // namespace

TEST_CASE("channels: inputs, what the worker declares, overrides and masks in every pairing")
{
    const test_host host;
    fake_worker::use_for_launches();
    std::vector<scenario> scenarios;
    for (const uint32_t inputs : {1u, 2u, 6u, 8u}) {
        scenarios.push_back(
            {std::to_string(inputs) + " inputs", "", [inputs] { return play_cases(inputs); }});
    }
    check_side_by_side(scenarios);
}
