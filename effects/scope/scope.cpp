// Passes the sound through, for 1 to 8 channels, and draws the first two of them: the trace of an
// oscilloscope and a spectrum.

#include "effects/bare/effect.h"
#include "effects/panel/bare_panel.h"
#include "effects/scope/scope_picture.h"

#include <algorithm>

namespace {

const bare::description about_scope{
    .name = "qvxScope",
    .class_id = {0x5D0E93A1, 0x6C2B4E7F, 0xA4D817C6, 0x20B9E35F},
    .unique_id = 0x71767853, // 'qvxS'
    .inputs = {{"Input", 2}},
    .outputs = {{"Output", 2}},
    .parameters = {{"Span", "ms", 2.0, 100.0, 20.0}},
    .sub_categories = "Fx|Analyzer",
    .has_editor = true,
};

class scope_effect final : public bare::effect, private scope::sound {
public:
    using effect::effect;

    bool set_layout(std::span<const int> inputs, std::span<const int> outputs) override
    {
        return inputs.size() == 1 && outputs.size() == 1 && inputs[0] == outputs[0] && inputs[0] >= 1 &&
               inputs[0] <= 8;
    }
    void prepare(double rate, int /*max_frames*/) override { rate_.store(rate, std::memory_order_relaxed); }
    bool process(const bare::block<float>& audio) override { return run(audio); }
    bool process(const bare::block<double>& audio) override { return run(audio); }
    std::unique_ptr<bare::editor> make_editor() override
    {
        return panel::make_bare_panel(*this, nullptr, scope::make_picture(*this));
    }

private:
    template <class Sample>
    bool run(const bare::block<Sample>& audio)
    {
        if (samples_.watched() && !audio.in.empty())
            samples_.hear(audio.in[0], audio.in[audio.in.size() > 1 ? 1 : 0], audio.frames);
        for (std::size_t c = 0; c < std::min(audio.in.size(), audio.out.size()); ++c)
            if (audio.in[c] != audio.out[c])
                std::copy_n(audio.in[c], audio.frames, audio.out[c]);
        return true;
    }

    scope::samples_feed& samples() override { return samples_; }
    double rate() const override { return rate_.load(std::memory_order_relaxed); }
    double span_ms() const override { return value(0); }

    std::atomic<double> rate_{44100};
    scope::samples_feed samples_;
};

const bare::module_class classes[] = {
    {about_scope,
     [](const bare::description& about) -> std::unique_ptr<bare::effect> {
         return std::make_unique<scope_effect>(about);
     }},
};

} // namespace

std::span<const bare::module_class> bare::module_classes()
{
    return classes;
}
