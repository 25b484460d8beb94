#include "vis/mainmenu_commands_vst.h"

#include "sdk/dsp_chain_config_impl.h"
#include "sdk/dsp_config_manager.h"
#include "sdk/host_api.h"
#include "vis/mmgroup.h"
#include "vis/only_command.h"

namespace {

constexpr guid_t command = {0xae185f7f, 0x68dd, 0x49d6, {0xad, 0x27, 0xc0, 0x2b, 0xbd, 0x00, 0xad, 0x78}};

} // namespace

guid_t mainmenu_commands_vst::get_command(uint32_t index) const
{
    check_only_command(index);
    return command;
}

void mainmenu_commands_vst::get_name(uint32_t index, string_out& out) const
{
    check_only_command(index);
    set_text(out, "VST");
}

bool mainmenu_commands_vst::get_description(uint32_t index, string_out&) const
{
    check_only_command(index);
    return false;
}

bool mainmenu_commands_vst::get_display(uint32_t index, string_out& text, uint32_t& flags) const
{
    get_name(index, text);
    flags = 0;
    return true;
}

void mainmenu_commands_vst::execute(uint32_t index)
{
    check_only_command(index);
}

bool mainmenu_commands_vst::is_command_dynamic(uint32_t index) const
{
    check_only_command(index);
    return true;
}

void mainmenu_commands_vst::dynamic_instantiate(uint32_t index, service_ptr_t<mainmenu_node>& out)
{
    check_only_command(index);
    dsp_chain_config_impl chain;
    service_get_unique<dsp_config_manager>()->get_chain(chain);
    out = service_new<mmgroup>(chain);
}
