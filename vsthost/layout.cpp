#include "vsthost/layout.h"

#include <algorithm>
#include <bit>

namespace {

using vsthost::bus_pair;
using vsthost::channel_layout;

constexpr uint64_t arrangement_mono = uint64_t{1} << 19;
constexpr uint32_t mask_bits = (1u << 18) - 1;
constexpr uint32_t back_pair = 0x30;
constexpr uint32_t side_pair = 0x600;

bool valid(channel_layout layout)
{
    return layout.mask != 0 && std::popcount(layout.mask) == static_cast<int>(layout.channels);
}

channel_layout usual(uint32_t channels)
{
    return {channels, vsthost::default_mask(channels)};
}

// 5.1 and the like exist with back and with side speakers; many effects know only one of the two.
channel_layout exchanged(channel_layout layout)
{
    const uint32_t pair = layout.mask & (back_pair | side_pair);
    if (pair == back_pair)
        return {layout.channels, (layout.mask & ~back_pair) | side_pair};
    if (pair == side_pair)
        return {layout.channels, (layout.mask & ~side_pair) | back_pair};
    return layout;
}

uint32_t channel_of_speaker(uint32_t mask, uint32_t speaker)
{
    return static_cast<uint32_t>(std::popcount(mask & (speaker - 1)));
}

} // namespace

uint32_t vsthost::default_mask(uint32_t channels)
{
    constexpr uint32_t masks[] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
    return channels < std::size(masks) ? masks[channels] : 0;
}

uint64_t vsthost::to_arrangement(channel_layout layout)
{
    if (layout.channels == 1)
        return arrangement_mono;
    if (layout.channels > 64)
        return ~uint64_t{0};
    uint32_t mask = layout.mask;
    if (!valid(layout) || (mask & ~mask_bits) != 0)
        mask = default_mask(layout.channels);
    if (mask == 0 && layout.channels != 0)
        return layout.channels == 64 ? ~uint64_t{0} : (uint64_t{1} << layout.channels) - 1;
    return mask;
}

channel_layout vsthost::from_arrangement(uint64_t arrangement)
{
    const auto channels = static_cast<uint32_t>(std::popcount(arrangement));
    if (arrangement == arrangement_mono)
        return {1, 0x4};
    return {channels, (arrangement & ~uint64_t{mask_bits}) == 0 ? static_cast<uint32_t>(arrangement) : 0};
}

int32_t vsthost::to_arrangement_type(channel_layout layout)
{
    if (layout.channels == 0)
        return -1;
    if (layout.channels == 1)
        return 0;
    const uint32_t mask = valid(layout) ? layout.mask : default_mask(layout.channels);
    struct named {
        uint32_t mask;
        int32_t type;
    };
    // Those whose channels stand in the mask's order.
    constexpr named known[] = {{0x3, 1},   {0x7, 6},    {0x103, 7},  {0xF, 8},   {0x107, 10},
                               {0x33, 11}, {0x603, 11}, {0x3B, 13},  {0x37, 14}, {0x607, 14},
                               {0x3F, 15}, {0x60F, 15}, {0x13F, 18}, {0xFF, 22}, {0x63F, 23}};
    const auto* const found = std::ranges::find(known, mask, &named::mask);
    return found != std::end(known) ? found->type : -2;
}

std::vector<bus_pair> vsthost::arrangement_ladder(const bus_pair& wanted, const bus_pair& module_default)
{
    const bus_pair candidates[] = {
        wanted,
        {exchanged(wanted.in), exchanged(wanted.out)},
        {wanted.in, wanted.in},
        {exchanged(wanted.in), exchanged(wanted.in)},
        {usual(wanted.in.channels), usual(wanted.out.channels)},
        module_default,
        {usual(2), usual(2)},
        {usual(1), usual(1)},
    };
    std::vector<bus_pair> ladder;
    for (const bus_pair& candidate : candidates)
        if (std::ranges::find(ladder, candidate) == ladder.end())
            ladder.push_back(candidate);
    return ladder;
}

int vsthost::fit(const bus_pair& wanted, const bus_pair& got)
{
    if (got.in.channels == wanted.in.channels)
        return got.out.channels == wanted.out.channels ? 3 : 2;
    return wanted.in.channels == 1 && got.in.channels == 2 ? 1 : 0;
}

vsthost::bus_pair vsthost::without_side_chain(const bus_pair& wanted, const bus_pair& own)
{
    const bus_pair main{usual(own.out.channels), own.out};
    const bool has_more = own.out.channels != 0 && own.in.channels > own.out.channels;
    return has_more && fit(wanted, own) == 0 && fit(wanted, main) != 0 ? main : own;
}

std::vector<vsthost::tail_source> vsthost::tail_sources(channel_layout output, channel_layout input)
{
    std::vector<tail_source> sources(input.channels);
    if (output.channels == 0)
        return sources;
    const bool by_speaker = valid(output) && valid(input) && output.channels != 1 && input.channels != 1 &&
                            output.channels != input.channels;
    for (uint32_t channel = 0; channel < input.channels; ++channel) {
        tail_source& source = sources[channel];
        if (output.channels == input.channels) {
            source.first = channel;
        } else if (input.channels == 1) {
            source.first = 0;
            source.second = 1;
        } else if (output.channels == 1) {
            if (channel < 2)
                source.first = 0;
        } else if (by_speaker) {
            uint32_t rest = input.mask;
            for (uint32_t i = 0; i < channel; ++i)
                rest &= rest - 1;
            const uint32_t speaker = rest & (~rest + 1);
            if ((output.mask & speaker) != 0)
                source.first = channel_of_speaker(output.mask, speaker);
        } else if (channel < output.channels) {
            source.first = channel;
        }
    }
    return sources;
}
