#pragma once
// Presets of effects for tests.

#include "catalogue/vstConfig.h"
#include "sdk/dsp_preset_impl.h"

inline dsp_preset_impl preset_of(const vstConfig_t& config)
{
    dsp_preset_impl preset;
    vstConfigToPreset(config, preset);
    return preset;
}
