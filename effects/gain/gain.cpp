// A gain: every sample times one factor, for 1 to 8 channels, in the precision the host asks for. At a factor
// of 1 samples are copied untouched, so that the very bits come out, NaN payloads and negative zeros too.

#include "effects/bare/effect.h"
#include "effects/panel/bare_panel.h"

#include <algorithm>

namespace {

const bare::description about_gain{
    .name = "qvxGain",
    .class_id = {0x7A1C5E02, 0x3B6D4F90, 0x8E21D4C7, 0x9F50A6B3},
    .unique_id = 0x71767847, // 'qvxG'
    .inputs = {{"Input", 2}},
    .outputs = {{"Output", 2}},
    .parameters = {{"Gain", "x", 0.0, 2.0, 0.5}},
    .has_editor = true,
};

class gain final : public bare::effect {
public:
    using effect::effect;

    bool set_layout(std::span<const int> inputs, std::span<const int> outputs) override
    {
        return inputs.size() == 1 && outputs.size() == 1 && inputs[0] == outputs[0] && inputs[0] >= 1 &&
               inputs[0] <= 8;
    }
    bool process(const bare::block<float>& audio) override { return run(audio); }
    bool process(const bare::block<double>& audio) override { return run(audio); }
    std::unique_ptr<bare::editor> make_editor() override { return panel::make_bare_panel(*this, &levels_); }

private:
    template <class Sample>
    bool run(const bare::block<Sample>& audio)
    {
        const auto factor = static_cast<Sample>(value(0));
        for (std::size_t c = 0; c < std::min(audio.in.size(), audio.out.size()); ++c) {
            const Sample* const in = audio.in[c];
            Sample* const out = audio.out[c];
            if (levels_.in.watched()) // before the output, which may be the same memory
                levels_.in.hear(in, audio.frames);
            if (factor != Sample{1})
                std::transform(in, in + audio.frames, out, [factor](Sample x) { return x * factor; });
            else if (in != out)
                std::copy_n(in, audio.frames, out);
            if (levels_.out.watched())
                levels_.out.hear(out, audio.frames);
        }
        return true;
    }

    panel::level_feeds levels_;
};

const bare::module_class classes[] = {
    {about_gain,
     [](const bare::description& about) -> std::unique_ptr<bare::effect> {
         return std::make_unique<gain>(about);
     }},
};

} // namespace

std::span<const bare::module_class> bare::module_classes()
{
    return classes;
}
