#pragma once
// Presets of effects for tests.

#include "catalogue/vstConfig.h"
#include "sdk/dsp_preset_impl.h"

#include <string>

inline dsp_preset_impl preset_of(const vstConfig_t& config)
{
    dsp_preset_impl preset;
    vstConfigToPreset(config, preset);
    return preset;
}

inline std::string state_of(const dsp_preset& preset)
{
    const auto bytes = vstConfigFromPreset(preset).state;
    return {bytes.begin(), bytes.end()};
}
