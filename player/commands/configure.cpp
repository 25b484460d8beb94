#include "player/commands/configure.h"

#include "catalogue/vstConfig.h"
#include "player/chain/chain.h"
#include "player/services/queue_window.h"
#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"
#include "sdk/dsp_chunk_list_impl.h"

#include <windows.h>

#include <algorithm>

namespace player {

namespace {

class preset_edit : public dsp_preset_edit_callback_v2 {
public:
    using service_interface = dsp_preset_edit_callback_v2;

    explicit preset_edit(const dsp_preset& start)
        : preset(start)
    {
    }
    void get_preset(dsp_preset& out) override
    {
        out.set_owner(preset.get_owner());
        out.set_data(preset.get_data(), preset.get_data_size());
    }
    void set_preset(const dsp_preset& changed) override { preset.copy_from(changed); }
    void dsp_dialog_done(bool) override { done = true; }

    dsp_preset_impl preset;
    bool done = false;
};

// The player's loop, for as long as `edit` is not done.
void run_messages(player_host& host, const preset_edit& edit, abort_callback& stop)
{
    const HANDLE stopped = stop.get_abort_event();
    while (!edit.done && !stop.is_aborting()) {
        MSG message;
        while (!edit.done && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT)
                return;
            if (host.dialogs().take(message))
                continue;
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (!edit.done)
            MsgWaitForMultipleObjectsEx(1, &stopped, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
}

void throw_if_refused(const chain_entry& entry, player_host& host)
{
    host.let_threads_end(); // which bring what the worker said
    if (host.refusals().any())
        throw_refused_state({entry}, host.refusals().first_reason());
}

// Before the dialog opens: it would read back what the effect begins with instead of a state that it does not
// take, and that would be written. An effect without an editor is asked, by a moment of silence. False when
// it did not come to an answer.
bool takes_its_state(const chain_entry& entry, player_host& host, abort_callback& stop)
{
    if (entry.state_file.empty())
        return true;
    bool answered = false;
    try {
        dsp_chunk_list_impl chunks;
        audio_chunk& silence = *chunks.add_item(2);
        silence.set_data_size(2);
        silence.set_sample_rate(44100);
        silence.set_channels(2, 0x3);
        silence.set_sample_count(1);
        std::fill_n(silence.get_data(), 2, 0.0);
        dsp_chain({entry}, 0).run(chunks, 0, stop);
        answered = true;
    } catch (const std::exception&) {
        // What else is wrong with it is the dialog's to show.
    }
    throw_if_refused(entry, host);
    return answered;
}

chain_entry first_preset(const configure_options& options)
{
    if (options.effect.module.empty())
        return load_preset_entry(options.preset_file);
    chain_entry entry = make_effect_entry(options.effect);
    const std::string& file = options.preset_file;
    if (!file.empty() && is_same_file(file, options.effect.module))
        throw player_error(file + ": is the module itself; choose another file for the preset");
    return entry;
}

// A file that holds a preset of the effect is gone on with, but for what the command line says otherwise.
void take_over(const chain_entry& kept, chain_entry& entry, const effect_options& effect)
{
    const vstConfig_t was = vstConfigFromPreset(kept.preset);
    vstConfig_t config = vstConfigFromPreset(entry.preset);
    if (was.path != config.path && !is_same_file(was.path, config.path))
        throw player_error(kept.file + ": holds a preset of " + was.path +
                           " and would be overwritten; name another file, or leave --effect out");
    if (!effect.state_file) {
        config.state = was.state;
        entry.state_file = was.state.empty() ? std::string() : kept.file;
    }
    if (!effect.float64)
        config.flags = was.flags;
    if (effect.output_mask == 0)
        config.outputChannelMask = was.outputChannelMask;
    vstConfigToPreset(config, entry.preset);
}

} // namespace

command_result run_configure(const command_line& line, player_host& host, abort_callback& stop)
{
    chain_entry entry = first_preset(line.configure);
    const std::string& file = line.configure.preset_file;
    dsp_preset_impl in_file;
    if (!file.empty()) {
        // What is edited must not be lost for a name that cannot be written, nor another kind of file for a
        // mistyped one.
        check_replaceable(file);
        check_preset_target(file);
        if (path_exists(file))
            in_file = load_preset_entry(file).preset;
        if (!line.configure.effect.module.empty() && in_file.get_data_size() != 0)
            take_over({file, in_file}, entry, line.configure.effect);
    }
    const bool takes_state = takes_its_state(entry, host, stop);
    const auto maker = find_dsp_entry(entry.preset.get_owner());
    const auto third = maker ? service_query_as<dsp_entry_v3>(*maker) : nullptr;
    if (!third)
        throw player_error(entry.file + ": the component has no dialog for it");
    const auto edit = service_new<preset_edit>(entry.preset);
    {
        const queue_window queue(host.main_queue());
        service_ptr_t<service_base> dialog;
        third->show_config_popup_v3(dialog, nullptr, *edit);
        run_messages(host, *edit, stop);
        dialog.release(); // brings the editor's last state
    }
    if (!takes_state)
        throw_if_refused(entry, host);
    if (!file.empty() && !(edit->preset == in_file))
        replace_whole_file(
            file, {static_cast<const uint8_t*>(edit->preset.get_data()), edit->preset.get_data_size()});
    entry.preset = edit->preset;
    return show_preset(entry, line.json);
}

} // namespace player
