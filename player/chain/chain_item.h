#pragma once
// What a chain is made of, as a person names it.

#include <cstdint>
#include <optional>
#include <string>

namespace player {

struct effect_options {
    std::string module; // as given: file or bundle folder
    std::optional<std::string> state_file;
    uint32_t output_mask = 0; // 0: no layout asked for
    bool float64 = false;
};

// One DSP of a chain: an effect, or a file of preset bytes.
struct chain_item {
    effect_options effect;
    std::string preset_file; // empty: it is an effect
};

} // namespace player
