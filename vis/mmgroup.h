#pragma once
#include "catalogue/vstConfig.h"
#include "sdk/dsp_chain_config.h"
#include "sdk/mainmenu.h"

#include <optional>
#include <vector>

// The commands of the "VST" menu, in the order of the chain: one for each entry with an effect.
class mmgroup : public mainmenu_node_group {
public:
    explicit mmgroup(const dsp_chain_config& chain);

    void get_display(string_out& text, uint32_t& flags) const override;
    size_t get_child_count() const noexcept override { return commands_.size(); }
    void get_child(service_ptr_t<mainmenu_node>& out, size_t index) override;

private:
    std::vector<service_ptr_t<mainmenu_node>> commands_;
};

// The effect of a chain entry; empty when the entry is another component's, is broken or names no effect.
std::optional<vstConfig_t> effectOfChainEntry(const dsp_preset& entry);
