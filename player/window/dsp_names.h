#pragma once
#include "sdk/dsp.h"
#include "sdk/dsp_preset_impl.h"

#include <string>
#include <vector>

namespace player {

struct dsp_choice {
    std::string name;
    dsp_preset_impl preset; // its default
};

// The DSPs that the component can add to a chain, by name. Main thread.
std::vector<dsp_choice> list_dsp_choices();

// How lists and messages name a DSP of the chain. Never empty; never throws what a component throws.
std::string dsp_name(const dsp_preset& preset);

} // namespace player
