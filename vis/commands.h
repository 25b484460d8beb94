#pragma once
#include "sdk/mainmenu.h"

// The command of the player's main menu that asks for an effect and visualises what is played with it.
class commands : public mainmenu_commands {
public:
    using service_class = mainmenu_commands;
    using service_interface = mainmenu_commands;

    uint32_t get_command_count() const noexcept override { return 1; }
    guid_t get_command(uint32_t index) const override;
    void get_name(uint32_t index, string_out& out) const override;
    bool get_description(uint32_t index, string_out& out) const override;
    guid_t get_parent() const override { return mainmenu_group_visualisations; }
    uint32_t get_sort_priority() const noexcept override { return mainmenu_priority_dont_care; }
    bool get_display(uint32_t index, string_out& text, uint32_t& flags) const override;
    // Opens another dialog, whether or not some are open. Throws as CDialogVisSetup::open.
    void execute(uint32_t index) override;
};
