#pragma once
#include "sdk/dsp_preset.h"
#include "sdk/service.h"

// How a blocking configuration dialog reports each change while it is open. Main thread; belongs to the
// caller.
class dsp_preset_edit_callback {
public:
    virtual void on_preset_changed(const dsp_preset& preset) = 0;

protected:
    ~dsp_preset_edit_callback() = default;
};

// How a modeless one does. Main thread; the dialog holds a reference until it reported that it is done.
class dsp_preset_edit_callback_v2 : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xe9e4fb52, 0xc573, 0x408a, {0xa4, 0x99, 0xdd, 0x2c, 0x60, 0x28, 0x39, 0x09}};

    virtual void get_preset(dsp_preset& out) = 0; // a copy of the current one
    virtual void set_preset(const dsp_preset& preset) = 0;
    virtual void dsp_dialog_done(bool accepted) = 0;

protected:
    ~dsp_preset_edit_callback_v2() = default;
};
