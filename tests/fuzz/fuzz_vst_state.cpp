// States of effects and module headers as the worker programs read them: no finding, views inside the image,
// and a VST 3 preset that was read comes back from being written.

#include "vsthost/pe_image.h"
#include "vsthost/vst2/vst2_state.h"
#include "vsthost/vst3/vstpreset.h"

#include <algorithm>
#include <cstdlib>

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
    if (preset.preset.has_value() == !preset.problem.empty())
        std::abort();
    if (preset.preset) {
        if (!inside(preset.preset->component, image))
            std::abort();
        const auto written = vsthost::write_vstpreset(*preset.preset);
        const auto again = vsthost::read_vstpreset(written);
        if (!again.preset || again.preset->id != preset.preset->id ||
            !std::ranges::equal(again.preset->component, preset.preset->component))
            std::abort();
    }
    const vsthost::vst2_state_result state = vsthost::read_vst2_state(image);
    if (state.state.has_value() == !state.problem.empty())
        std::abort();
    if (state.state && (!inside(state.state->chunk, image) || state.state->parameters.size() > size / 4))
        std::abort();
    vsthost::pe_machine(image);
    if (vsthost::pe_imports(image).size() > 256)
        std::abort();
    return 0;
}
