#pragma once
#include "sdk/dsp.h"

#include <windows.h>

// A DSP entry over `dsp_t`, which has
//   the constructor (const dsp_preset&, uint32_t flags), throwing when the preset cannot be used, and the
//   statics g_get_name, g_get_default_preset, g_get_guid, g_get_display_name, g_show_config_popup,
//   g_show_config_popup_v2, g_show_config_popup_v3 with the parameters of the entry's operations.
template <class dsp_t>
class dsp_entry_v4_impl_t : public dsp_entry_v4 {
public:
    using service_class = dsp_entry;
    using service_interface = dsp_entry_v4;

    void get_name(string_out& out) const override { dsp_t::g_get_name(out); }
    bool get_default_preset(dsp_preset& out) const override { return dsp_t::g_get_default_preset(out); }
    bool instantiate(service_ptr_t<dsp>& out, const dsp_preset& preset) override
    {
        if (!(preset.get_owner() == get_guid()))
            return false;
        // Playback threads run above normal priority; everything else is converted offline.
        const bool realtime = GetThreadPriority(GetCurrentThread()) >= THREAD_PRIORITY_ABOVE_NORMAL;
        return instantiate_v4(out, preset, realtime ? dsp_flag_realtime : 0);
    }
    guid_t get_guid() const noexcept override { return dsp_t::g_get_guid(); }
    bool have_config_popup() const noexcept override { return true; }
    bool show_config_popup(dsp_preset& preset, void* parent_window) override
    {
        return dsp_t::g_show_config_popup(preset, parent_window);
    }
    void show_config_popup_v2(const dsp_preset& preset, void* parent_window,
                              dsp_preset_edit_callback& callback) override
    {
        dsp_t::g_show_config_popup_v2(preset, parent_window, callback);
    }
    void get_display_name(const dsp_preset& preset, string_out& out) const override
    {
        dsp_t::g_get_display_name(preset, out);
    }
    void show_config_popup_v3(service_ptr_t<service_base>& dialog, void* parent_window,
                              dsp_preset_edit_callback_v2& callback) override
    {
        dsp_t::g_show_config_popup_v3(dialog, parent_window, callback);
    }
    bool instantiate_v4(service_ptr_t<dsp>& out, const dsp_preset& preset, uint32_t flags) override
    {
        out = service_new<dsp_t>(preset, flags);
        return true;
    }
};
