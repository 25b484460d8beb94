#pragma once
#include "sdk/mainmenu.h"

// The "VST" entry of the player's main menu: a sub-tree with a command for each effect of the DSP chain, made
// afresh each time the player asks.
class mainmenu_commands_vst : public mainmenu_commands_v2_impl {
public:
    uint32_t get_command_count() const noexcept override { return 1; }
    guid_t get_command(uint32_t index) const override;
    void get_name(uint32_t index, string_out& out) const override;
    bool get_description(uint32_t index, string_out& out) const override;
    guid_t get_parent() const override { return mainmenu_group_dsp; }
    uint32_t get_sort_priority() const noexcept override { return mainmenu_priority_dont_care; }
    bool get_display(uint32_t index, string_out& text, uint32_t& flags) const override;
    void execute(uint32_t index) override; // nothing: it only holds the others
    bool is_command_dynamic(uint32_t index) const override;
    // Throws exception_host_bug_check unless the player has exactly one dsp_config_manager.
    void dynamic_instantiate(uint32_t index, service_ptr_t<mainmenu_node>& out) override;
};
