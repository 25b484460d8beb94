#pragma once
#include "catalogue/vstConfig.h"
#include "sdk/mainmenu.h"

// One command of the "VST" menu: opens the editor of one entry of the DSP chain.
class mmcmd : public mainmenu_node_command {
public:
    // `occurrence`: how many entries with the same path stand before it.
    mmcmd(vstConfig_t effect, uint32_t occurrence)
        : effect_(std::move(effect))
        , occurrence_(occurrence)
    {
    }

    void get_display(string_out& text, uint32_t& flags) const override;
    bool get_description(string_out& out) const override;
    // By path and occurrence, so that it stays the same over restarts and moves within the chain. Throws
    // exception_host_bug_check unless the player has exactly one hasher.
    guid_t get_guid() const override;
    void execute() override;

private:
    const vstConfig_t effect_;
    const uint32_t occurrence_;
};
