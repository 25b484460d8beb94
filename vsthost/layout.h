#pragma once
// Channel masks (speaker bits as in WAVEFORMATEXTENSIBLE) and the speaker arrangements of effects. Pure.

#include <cstdint>
#include <optional>
#include <vector>

namespace vsthost {

// What one main bus carries. Mask 0: not known.
struct channel_layout {
    uint32_t channels = 0;
    uint32_t mask = 0;

    friend bool operator==(const channel_layout&, const channel_layout&) = default;
};

// The usual mask of a channel count; 0 where there is none.
uint32_t default_mask(uint32_t channels);

// 64-bit speaker arrangements: the low 18 bits are those of the mask, mono has a bit of its own (1 << 19).
// A mask that does not have as many bits as there are channels is replaced by the usual one.
uint64_t to_arrangement(channel_layout layout);
// The mask is 0 when the arrangement has speakers that a mask cannot name.
channel_layout from_arrangement(uint64_t arrangement);

// VST 2 names its arrangements by number; -2 is "custom".
int32_t to_arrangement_type(channel_layout layout);

struct bus_pair {
    channel_layout in;
    channel_layout out;

    friend bool operator==(const bus_pair&, const bus_pair&) = default;
};

// What to offer to an effect, best first, without repetitions: as requested, with back and side pairs
// exchanged, symmetric, the module's default, stereo, mono.
std::vector<bus_pair> arrangement_ladder(const bus_pair& wanted, const bus_pair& module_default);

// An effect without buses that has more inputs than outputs: the inputs behind the first ones, as many as it
// has outputs, are taken for a side chain where that makes it serve the request and all inputs would not.
// Returns the counts to use.
bus_pair without_side_chain(const bus_pair& wanted, const bus_pair& own);

// How well what an effect settled for serves the request: 3 both counts, 2 the input count, 1 a mono input
// that can feed a stereo effect, 0 not at all.
int fit(const bus_pair& wanted, const bus_pair& got);

// Where a channel of a tail comes from: the tail is handed back in the layout of the input, whatever the
// effect's output is. `second` (when there is one) is averaged with `first`; without `first` it is silence.
struct tail_source {
    std::optional<uint32_t> first;
    std::optional<uint32_t> second;
};
// Equal counts: channel by channel. Otherwise: to mono the average of the first two; from mono to the front
// pair (or the one channel that there is); between other layouts speaker by speaker where both masks are
// known, else by position.
std::vector<tail_source> tail_sources(channel_layout output, channel_layout input);

} // namespace vsthost
