#include "player/window/config_dialogs.h"

#include "player/chain/chain.h"
#include "player/system/player_error.h"

#include <cstring>
#include <vector>

namespace player {

// What the dialog holds. It may outlive the list of dialogs.
class config_dialogs::edit_callback : public dsp_preset_edit_callback_v2 {
public:
    using service_interface = dsp_preset_edit_callback_v2;
    edit_callback(config_dialogs& owner, uint64_t slot)
        : owner_(&owner)
        , slot_(slot)
    {
    }
    void get_preset(dsp_preset& out) override
    {
        const auto slots = owner_->chain_.get();
        if (const chain_slot* slot = find_slot(*slots, slot_)) {
            out.set_owner(slot->preset.get_owner());
            out.set_data(slot->preset.get_data(), slot->preset.get_data_size());
        }
    }
    void set_preset(const dsp_preset& preset) override { owner_->chain_.set_preset(slot_, preset); }
    void dsp_dialog_done(bool) override
    {
        const bool unwanted = owner_->is_left_as_is(slot_);
        config_dialogs& owner = *owner_; // this object may go with its dialog
        const uint64_t slot = slot_;
        owner.done(slot);
        if (unwanted)
            owner.chain_.remove(slot);
    }

private:
    config_dialogs* owner_; // lives as long as the player's window, and no dialog longer than that
    uint64_t slot_;
};

void config_dialogs::open(uint64_t slot, HWND parent)
{
    if (const auto known = open_.find(slot); known != open_.end()) {
        if (IsWindow(known->second.window)) {
            SetForegroundWindow(known->second.window);
            return;
        }
        done(slot);
    }
    const auto slots = chain_.get();
    const chain_slot* what = find_slot(*slots, slot);
    if (!what)
        return;
    const auto maker = find_dsp_entry(what->preset.get_owner());
    if (!maker || !maker->have_config_popup())
        throw player_error("this DSP has nothing to configure");
    const auto third = service_query_as<dsp_entry_v3>(*maker);
    if (!third) {
        dsp_preset_impl preset = what->preset;
        if (maker->show_config_popup(preset, parent))
            chain_.set_preset(slot, preset);
        return;
    }
    entry opened;
    const auto callback = service_new<edit_callback>(*this, slot);
    third->show_config_popup_v3(opened.dialog, parent, *callback);
    if (const HWND active = GetActiveWindow(); active != parent)
        opened.window = active;
    if (opened.dialog)
        open_[slot] = std::move(opened);
}

void config_dialogs::remove_if_left_as_is(uint64_t slot)
{
    const auto slots = chain_.get();
    const chain_slot* const what = find_slot(*slots, slot);
    if (const auto known = open_.find(slot); what && known != open_.end())
        known->second.removed_as = what->preset;
}

bool config_dialogs::is_left_as_is(uint64_t slot) const
{
    const auto slots = chain_.get();
    const chain_slot* const what = find_slot(*slots, slot);
    const auto known = open_.find(slot);
    if (!what || known == open_.end() || !known->second.removed_as)
        return false;
    const dsp_preset &now = what->preset, &then = *known->second.removed_as;
    return now.get_owner() == then.get_owner() && now.get_data_size() == then.get_data_size() &&
           std::memcmp(now.get_data(), then.get_data(), now.get_data_size()) == 0;
}

void config_dialogs::done(uint64_t slot)
{
    const auto known = open_.find(slot);
    if (known == open_.end())
        return;
    // Taken out first: its end may come back here.
    const entry last = std::move(known->second);
    open_.erase(known);
}

void config_dialogs::close_orphans()
{
    const auto slots = chain_.get();
    std::vector<uint64_t> orphans;
    for (const auto& [slot, dialog] : open_) {
        if (!find_slot(*slots, slot))
            orphans.push_back(slot);
    }
    for (const uint64_t slot : orphans)
        done(slot);
}

void config_dialogs::close_all()
{
    while (!open_.empty())
        done(open_.begin()->first);
}

} // namespace player
