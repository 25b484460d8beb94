#include "vis/menuConfigureRun.h"

#include "sdk/dsp_chain_config_impl.h"
#include "sdk/dsp_config_manager.h"
#include "sdk/host_api.h"
#include "ui/CDialogConfigureVST.h"
#include "vis/mmgroup.h"

namespace {

// Made by the first command, ended by quit. Nobody's static object: its destructor waits for a thread, which
// must not happen while the module is unloaded.
CDialogConfigureVST* menuRun = nullptr;

// Which of the entries with the edited path is meant.
uint32_t editedOccurrence = 0;

void writeBack(const vstConfig_t& edited)
{
    const auto manager = service_get_unique<dsp_config_manager>();
    dsp_chain_config_impl chain;
    manager->get_chain(chain);
    uint32_t before = editedOccurrence;
    for (size_t i = 0; i < chain.get_count(); ++i) {
        const auto entry = effectOfChainEntry(chain.get_item(i));
        if (!entry || !sameEffect(*entry, edited) || before-- != 0)
            continue;
        dsp_preset_impl preset;
        vstConfigToPreset(edited, preset);
        chain.replace_item(preset, i);
        manager->set_chain(chain);
        return;
    }
    // The chain changed meanwhile; there is nowhere to write to.
}

} // namespace

// A copy: the command that it belongs to may go while the run before ends.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void startMenuConfigureRun(vstConfig_t effect, uint32_t occurrence)
{
    host_api& host = core_api::get_host();
    if (host.is_shutting_down())
        return;
    if (!menuRun)
        menuRun = new CDialogConfigureVST;
    editedOccurrence = occurrence;
    menuRun->stop();
    if (!menuRun) // the player, handed the last state, began to quit
        return;
    menuRun->onStateChanged = &writeBack;
    menuRun->Start(effect, host.get_main_window());
}

void endMenuConfigureRun() noexcept
{
    delete std::exchange(menuRun, nullptr);
}
