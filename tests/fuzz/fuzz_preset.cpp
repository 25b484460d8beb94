// Preset bytes: parsed without a finding; what is accepted must survive being written and read again.

#include "catalogue/vstConfig.h"
#include "fuzz/require.h"
#include "sdk/dsp_preset_impl.h"
#include "sdk/exceptions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    dsp_preset_impl preset;
    preset.set_owner(vstPresetOwner);
    preset.set_data(data, size);
    try {
        const vstConfig_t config = vstConfigFromPreset(preset);
        displayName(config);
        if (size == 0)
            return 0;
        require(config.state.size() <= size);
        vstConfigToPreset(config, preset);
        require(vstConfigFromPreset(preset) == config);
    } catch (const exception_io_data&) {
    }
    return 0;
}
