#pragma once
// The dialogs that the DSP entry opens live above this room; frame/ sets them here when the module loads.

#include "sdk/dsp.h"

struct configurationInterface {
    // Parameters and threads as in the operations of dsp_entry to dsp_entry_v3 that are named alike.
    bool (*popup)(dsp_preset& preset, void* parent_window) = nullptr;
    void (*popup_v2)(const dsp_preset& preset, void* parent_window,
                     dsp_preset_edit_callback& callback) = nullptr;
    void (*popup_v3)(service_ptr_t<service_base>& dialog, void* parent_window,
                     dsp_preset_edit_callback_v2& callback) = nullptr;
};

// Set once on the main thread before any service is used.
void setConfigurationInterface(const configurationInterface& dialogs) noexcept;
