// States of effects and module headers as the worker programs read them: no finding, views inside the image,
// and a VST 3 preset that was read comes back from being written.

#include "fuzz/require.h"
#include "vsthost/pe_image.h"
#include "vsthost/vst2/vst2_state.h"
#include "vsthost/vst3/vstpreset.h"

#include <algorithm>

namespace {

bool inside(std::span<const uint8_t> part, std::span<const uint8_t> image)
{
    return part.empty() ||
           (part.data() >= image.data() && part.data() + part.size() <= image.data() + image.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::span image(data, size);
    const vsthost::preset_result preset = vsthost::read_vstpreset(image);
    require(preset.preset.has_value() == preset.problem.empty());
    if (preset.preset) {
        require(inside(preset.preset->component, image));
        const auto written = vsthost::write_vstpreset(*preset.preset);
        const auto again = vsthost::read_vstpreset(written);
        require(again.preset && again.preset->id == preset.preset->id &&
                std::ranges::equal(again.preset->component, preset.preset->component));
    }
    const vsthost::vst2_state_result state = vsthost::read_vst2_state(image);
    require(state.state.has_value() == state.problem.empty());
    require(!state.state ||
            (inside(state.state->chunk, image) && state.state->parameters.size() <= size / 4));
    vsthost::pe_machine(image);
    require(vsthost::pe_imports(image).size() <= 256);
    return 0;
}
