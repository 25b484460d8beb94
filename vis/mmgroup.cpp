#include "vis/mmgroup.h"

#include "sdk/exceptions.h"
#include "vis/mmcmd.h"

#include <map>

mmgroup::mmgroup(const dsp_chain_config& chain)
{
    std::map<std::string, uint32_t> occurrences; // by path
    for (size_t i = 0; i < chain.get_count(); ++i) {
        auto effect = effectOfChainEntry(chain.get_item(i));
        if (!effect)
            continue;
        const uint32_t occurrence = occurrences[effect->path]++;
        commands_.emplace_back(service_new<mmcmd>(std::move(*effect), occurrence));
    }
}

// Without a text of its own its commands show in place, below the entry that holds it.
void mmgroup::get_display(string_out& text, uint32_t& flags) const
{
    set_text(text, "");
    flags = 0;
}

void mmgroup::get_child(service_ptr_t<mainmenu_node>& out, size_t index)
{
    out = index < commands_.size() ? commands_[index] : nullptr;
}

std::optional<vstConfig_t> effectOfChainEntry(const dsp_preset& entry)
{
    if (!(entry.get_owner() == vstPresetOwner))
        return std::nullopt;
    try {
        vstConfig_t effect = vstConfigFromPreset(entry);
        if (!effect.path.empty())
            return effect;
    } catch (const exception_io_data&) {
        // Nothing that an editor could open for.
    }
    return std::nullopt;
}
