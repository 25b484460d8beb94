#include "player/window/dsp_names.h"

#include "player/chain/chain.h"
#include "sdk/host_api.h"

#include <algorithm>

namespace player {

std::vector<dsp_choice> list_dsp_choices()
{
    std::vector<dsp_choice> choices;
    service_enumerate<dsp_entry>([&](dsp_entry& entry) {
        dsp_choice choice;
        string_out_impl name;
        entry.get_name(name);
        choice.name = name.text;
        if (entry.get_default_preset(choice.preset))
            choices.push_back(std::move(choice));
        return true;
    });
    std::stable_sort(choices.begin(), choices.end(),
                     [](const dsp_choice& a, const dsp_choice& b) { return a.name < b.name; });
    return choices;
}

std::string dsp_name(const dsp_preset& preset)
{
    string_out_impl name;
    try {
        if (const auto entry = find_dsp_entry(preset.get_owner())) {
            if (const auto third = service_query_as<dsp_entry_v3>(*entry))
                third->get_display_name(preset, name);
            else
                entry->get_name(name);
        }
    } catch (const std::exception&) {
        // It is named as unknown.
    }
    return name.text.empty() ? "unknown DSP" : name.text;
}

} // namespace player
