#pragma once
// A preset that is edited in a chooser, as the player has it.

#include "sdk/dsp_preset_edit_callback.h"
#include "support/presets.h"

#include <functional>
#include <vector>

// What the player remembers of a chooser: the states it was handed, and whether it was told of the end.
struct edited {
    explicit edited(const vstConfig_t& start)
        : preset(preset_of(start))
    {
        if (start.path.empty())
            clearPreset(preset);
    }
    void take(const dsp_preset& changed)
    {
        preset.copy_from(changed);
        ++pushes;
        if (while_told)
            while_told();
    }
    vstConfig_t config() const { return vstConfigFromPreset(preset); }
    std::string state() const { return state_of(preset); }

    dsp_preset_impl preset;
    int pushes = 0;
    std::vector<bool> done;
    std::function<void()> while_told;
};

class edit_callback_v2 : public dsp_preset_edit_callback_v2 {
public:
    using service_interface = dsp_preset_edit_callback_v2;
    explicit edit_callback_v2(edited& target)
        : target_(target)
    {
    }
    void get_preset(dsp_preset& out) override
    {
        out.set_owner(target_.preset.get_owner());
        out.set_data(target_.preset.get_data(), target_.preset.get_data_size());
    }
    void set_preset(const dsp_preset& preset) override { target_.take(preset); }
    void dsp_dialog_done(bool accepted) override
    {
        target_.done.push_back(accepted);
        if (target_.while_told)
            target_.while_told();
    }

private:
    edited& target_;
};
