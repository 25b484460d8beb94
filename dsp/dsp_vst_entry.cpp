// The parts of the DSP's entry: names, default preset and the way to the dialogs.

#include "dsp/configurationInterface.h"
#include "dsp/dsp_vst.h"

#include <stdexcept>

namespace {

constexpr std::string_view adapterName = "VST 2.x/3.x Adapter";

configurationInterface dialogs;

template <class Function>
Function required(Function function)
{
    if (!function)
        throw std::runtime_error("the component has no configuration dialog");
    return function;
}

} // namespace

void setConfigurationInterface(const configurationInterface& given) noexcept
{
    dialogs = given;
}

void dsp_vst::g_get_name(string_out& out)
{
    set_text(out, adapterName);
}

// An empty record: a DSP that passes audio through.
bool dsp_vst::g_get_default_preset(dsp_preset& out)
{
    clearPreset(out);
    return true;
}

void dsp_vst::g_get_display_name(const dsp_preset& preset, string_out& out)
{
    std::string name;
    try {
        name = vstConfigFromPreset(preset).name;
    } catch (...) {
        // Shown as the adapter itself; the chain's list has no better place for the failure.
    }
    set_text(out, name.empty() ? std::string(adapterName) : "VST: " + name);
}

bool dsp_vst::g_show_config_popup(dsp_preset& preset, void* parent_window)
{
    return required(dialogs.popup)(preset, parent_window);
}

void dsp_vst::g_show_config_popup_v2(const dsp_preset& preset, void* parent_window,
                                     dsp_preset_edit_callback& callback)
{
    required(dialogs.popup_v2)(preset, parent_window, callback);
}

void dsp_vst::g_show_config_popup_v3(service_ptr_t<service_base>& dialog, void* parent_window,
                                     dsp_preset_edit_callback_v2& callback)
{
    required(dialogs.popup_v3)(dialog, parent_window, callback);
}
