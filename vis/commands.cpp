#include "vis/commands.h"

#include "ui/CDialogVisSetup.h"
#include "vis/only_command.h"
#include "vis/vis_instance.h"

namespace {

constexpr guid_t visualize_command = {
    0x5cc1c77d, 0x4473, 0x4802, {0xac, 0xb5, 0x6e, 0xb9, 0x7f, 0x5c, 0x61, 0xe4}};

} // namespace

guid_t commands::get_command(uint32_t index) const
{
    check_only_command(index);
    return visualize_command;
}

void commands::get_name(uint32_t index, string_out& out) const
{
    check_only_command(index);
    set_text(out, "Visualize with VST ...");
}

bool commands::get_description(uint32_t index, string_out& out) const
{
    check_only_command(index);
    set_text(out, "Visualizes played audio with a VST effect.");
    return true;
}

bool commands::get_display(uint32_t index, string_out& text, uint32_t& flags) const
{
    get_name(index, text);
    flags = 0;
    return true;
}

void commands::execute(uint32_t index)
{
    check_only_command(index);
    CDialogVisSetup::open([](const vstConfig_t& effect) { new vis_instance(effect); });
}
