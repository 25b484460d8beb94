// Every service of the component, in the order of its registration. The list that the player walks shows them
// in reverse. One source file: the order of static objects is only defined within one.

#include "catalogue/settings.h"
#include "dsp/dsp_vst.h"
#include "frame/quit_actions.h"
#include "frame/version_record.h"
#include "sdk/advconfig_impl.h"
#include "sdk/dsp_entry_impl.h"
#include "sdk/service_factory.h"
#include "vis/commands.h"
#include "vis/mainmenu_commands_vst.h"

namespace {

advconfig_branch_factory branch_factory(settings_branch_name, settings_branch, settings_branch_parent,
                                        settings_priority);
advconfig_checkbox_factory_ dpi_aware_factory(cfg_dpi_aware, settings_branch, settings_priority);
advconfig_checkbox_factory_ feed_live_factory(cfg_feed_live, settings_branch, settings_priority);
advconfig_checkbox_factory_ process_tail_factory(cfg_process_tail, settings_branch, settings_priority);
service_factory_single_t<quit_actions> quit_factory;
service_factory_singleton_t<dsp_entry_v4_impl_t<dsp_vst>> dsp_factory;
service_factory_single_t<version_record> version_factory;
service_factory_singleton_t<mainmenu_commands_vst> menu_factory;
service_factory_singleton_t<commands> vis_factory;

} // namespace
