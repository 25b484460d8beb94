#pragma once
// A stereo echo. The framework makes the VST 2 and the VST 3 module of it; neither can declare a tail there
// (it answers "none" for VST 3 and "unknown" for VST 2), but the echo rings on for as long as silence is fed.

#include "effects/echo/echo_line.h"
#include "effects/panel/levels.h"

#include <DistrhoPlugin.hpp>

#include <atomic>
#include <cstdint>

START_NAMESPACE_DISTRHO

struct parameter_text {
    const char* name;
    const char* symbol; // the key in saved states
    const char* unit;
    float def, min, max;
};

enum parameter_index : uint32_t { param_delay, param_feedback, param_mix, param_count };

inline constexpr parameter_text parameter_texts[param_count] = {
    {"Delay", "delay", "ms", 250.0f, 1.0f, static_cast<float>(echo::max_delay_ms)},
    {"Feedback", "feedback", "", 0.5f, 0.0f, 0.875f},
    {"Mix", "mix", "", 0.25f, 0.0f, 1.0f},
};

class echo_plugin final : public Plugin {
public:
    echo_plugin()
        : Plugin(param_count, 0, 0)
    {
        for (uint32_t i = 0; i < param_count; ++i)
            values_[i] = parameter_texts[i].def;
        restart();
    }

    // For the editor, which lives in the same process and ends first.
    float value(uint32_t index) const { return values_[index].load(std::memory_order_relaxed); }
    panel::level_feeds& levels() { return levels_; }

protected:
    const char* getLabel() const override { return "qvxEcho"; }
    const char* getDescription() const override { return "A stereo echo with feedback"; }
    const char* getMaker() const override { return "qvx"; }
    const char* getLicense() const override { return "ISC"; }
    uint32_t getVersion() const override { return d_version(1, 0, 0); }
    int64_t getUniqueId() const override { return d_cconst('q', 'v', 'x', 'E'); }

    void initAudioPort(bool input, uint32_t index, AudioPort& port) override
    {
        port.groupId = kPortGroupStereo;
        Plugin::initAudioPort(input, index, port);
    }

    void initParameter(uint32_t index, Parameter& parameter) override
    {
        if (index >= param_count)
            return;
        const parameter_text& text = parameter_texts[index];
        parameter.hints = kParameterIsAutomatable;
        parameter.name = text.name;
        parameter.symbol = text.symbol;
        parameter.unit = text.unit;
        parameter.ranges = ParameterRanges(text.def, text.min, text.max);
    }

    float getParameterValue(uint32_t index) const override
    {
        return index < param_count ? value(index) : 0.0f;
    }
    void setParameterValue(uint32_t index, float value) override
    {
        if (index >= param_count)
            return;
        parameterRange(index).fixValue(value);
        values_[index].store(value, std::memory_order_relaxed);
    }

    void activate() override { restart(); }
    void sampleRateChanged(double) override { restart(); }

    void run(const float** inputs, float** outputs, uint32_t frames) override
    {
        const auto delay = echo::delay_in_samples(getParameterValue(param_delay), getSampleRate());
        const float feedback = getParameterValue(param_feedback);
        const float mix = getParameterValue(param_mix);
        for (std::size_t channel = 0; channel < 2; ++channel) {
            if (levels_.in.watched()) // before the output, which may be the same memory
                levels_.in.hear(inputs[channel], frames);
            lines_[channel].run(inputs[channel], outputs[channel], frames, delay, feedback, mix);
            if (levels_.out.watched())
                levels_.out.hear(outputs[channel], frames);
        }
    }

private:
    static ParameterRanges parameterRange(uint32_t index)
    {
        const parameter_text& text = parameter_texts[index];
        return {text.def, text.min, text.max};
    }

    void restart()
    {
        for (auto& line : lines_)
            line.reset(getSampleRate());
    }

    std::atomic<float> values_[param_count];
    echo::line lines_[2];
    panel::level_feeds levels_;
};

END_NAMESPACE_DISTRHO
