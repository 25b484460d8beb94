#include "player/chain/chain.h"

#include "catalogue/bundle.h"
#include "catalogue/inspectModule.h"
#include "catalogue/scanFolders.h"
#include "catalogue/vstConfig.h"
#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"
#include "sdk/exceptions.h"
#include "sdk/host_api.h"

#include <algorithm>

namespace player {

namespace {

constexpr uint64_t max_state_bytes = 256 << 20;

std::vector<uint8_t> read_required(const std::string& path, const char* what)
{
    auto bytes = read_whole_file(path, max_state_bytes);
    if (!bytes)
        throw player_error(path + ": there is no such " + what + " file; check the path");
    return std::move(*bytes);
}

bool has_extension(const std::string& path, std::string_view lower_case)
{
    const size_t size = lower_case.size();
    return path.size() >= size &&
           std::equal(
               lower_case.begin(), lower_case.end(), path.end() - static_cast<std::ptrdiff_t>(size),
               [](char want, char have) { return want == (have >= 'A' && have <= 'Z' ? have + 32 : have); });
}

const char* advice_for(module_refusal refusal)
{
    switch (refusal) {
    case module_refusal::missing:
        return "check the path";
    case module_refusal::folder:
        return "name the module's file, or a VST 3 bundle folder with a module in it";
    case module_refusal::unreadable:
        return "check that you may read it";
    case module_refusal::unknown_machine:
        return "get the effect for x64 or x86";
    default:
        return "name the .dll or .vst3 file of an effect; if it is one, install it again";
    }
}

} // namespace

std::string failure_advice(std::string_view failure)
{
    if (failure == "file not found")
        return "put qvxVSTHost64.exe and qvxVSTHost32.exe back";
    if (failure == "timeout" || failure == "could not connect pipe" || failure == "pipe creation failure" ||
        failure == "could not start the worker process")
        return "its worker program did not come up: see the console, then try again";
    return {};
}

void throw_refused_state(const std::vector<chain_entry>& entries, const std::string& reason)
{
    std::string files;
    for (const chain_entry& entry : entries) {
        if (!entry.state_file.empty())
            files += (files.empty() ? "" : " or ") + entry.state_file;
    }
    throw player_error(files + ": holds no state that the effect takes: " + reason +
                       "; save it anew from this effect, or leave it out");
}

chain_entry make_effect_entry(const effect_options& effect)
{
    const std::string path = resolveModulePath(absolute_path(effect.module));
    const module_report report = examineModule(path, has_extension(path, ".vst3") ? 3 : 2);
    if (report.refusal != module_refusal::none)
        throw player_error(path + ": " + refusalText(report.refusal) + "; " + advice_for(report.refusal));
    vstConfig_t config;
    config.path = path;
    config.name = effectName(path);
    config.arch = report.arch;
    config.vstVersion = report.vstVersion;
    config.flags = effect.float64 ? vstFlagFloat64 : 0;
    config.outputChannelMask = effect.output_mask;
    if (effect.state_file)
        config.state = read_required(*effect.state_file, "state");
    chain_entry entry{path, {}, config.state.empty() ? std::string() : *effect.state_file};
    vstConfigToPreset(config, entry.preset);
    return entry;
}

chain_entry load_preset_entry(const std::string& file)
{
    const std::vector<uint8_t> bytes = read_required(file, "preset");
    chain_entry entry{file, {}, file};
    entry.preset.set_owner(vstPresetOwner);
    entry.preset.set_data(bytes.data(), bytes.size());
    return entry;
}

void check_preset_target(const std::string& file)
{
    if (file.empty() || !path_exists(file))
        return;
    try {
        vstConfigFromPreset(load_preset_entry(file).preset);
    } catch (const exception_io_data&) {
        throw player_error(file + ": is no preset and would be overwritten; name another file");
    }
}

std::vector<chain_entry> make_chain(const std::vector<chain_item>& items)
{
    std::vector<chain_entry> entries;
    for (const chain_item& item : items)
        entries.push_back(item.preset_file.empty() ? make_effect_entry(item.effect)
                                                   : load_preset_entry(item.preset_file));
    return entries;
}

service_ptr_t<dsp_entry> find_dsp_entry(const guid_t& owner)
{
    service_ptr_t<dsp_entry> found;
    service_enumerate<dsp_entry>([&](dsp_entry& entry) {
        if (!(entry.get_guid() == owner))
            return true;
        found = &entry;
        return false;
    });
    return found;
}

service_ptr_t<dsp_v2> make_processor(const dsp_preset& preset, uint32_t instantiate_flags)
{
    const auto maker = find_dsp_entry(preset.get_owner());
    if (!maker)
        throw player_error("the component has no DSP for it; name another component with --component");
    service_ptr_t<dsp> made;
    const auto maker_v4 = service_query_as<dsp_entry_v4>(*maker);
    const bool ok = maker_v4 ? maker_v4->instantiate_v4(made, preset, instantiate_flags)
                             : maker->instantiate(made, preset);
    if (!ok || !made)
        throw player_error("the component refused it; make the preset again");
    auto processor = service_query_as<dsp_v2>(*made);
    if (!processor)
        throw player_error("the component's DSP is too old for this player");
    return processor;
}

dsp_chain::dsp_chain(const std::vector<chain_entry>& entries, uint32_t instantiate_flags)
{
    for (const chain_entry& entry : entries) {
        try {
            instances_.push_back({entry.file, make_processor(entry.preset, instantiate_flags)});
        } catch (const player_error& error) {
            throw player_error(entry.file + ": " + error.what());
        } catch (const exception_io_data& error) {
            throw player_error(entry.file + ": " + error.what() +
                               "; make the preset again with the preset command");
        }
    }
}

void dsp_chain::run(dsp_chunk_list& chunks, uint32_t flags, abort_callback& abort)
{
    for (instance& each : instances_) {
        try {
            each.processor->run_abortable(chunks, nullptr, flags, abort);
        } catch (const exception_aborted&) {
            throw;
        } catch (const std::exception& error) {
            // A wait that was broken by the token may carry a text of its own.
            if (abort.is_aborting())
                throw exception_aborted();
            const std::string advice = failure_advice(error.what());
            throw player_error(
                each.file + ": " + error.what() + "; " +
                (advice.empty() ? "see the console lines above, or leave the effect out" : advice));
        }
    }
}

void dsp_chain::flush()
{
    for (instance& each : instances_)
        each.processor->flush();
}

double dsp_chain::latency() const
{
    double seconds = 0;
    for (const instance& each : instances_)
        seconds += each.processor->get_latency();
    return seconds;
}

} // namespace player
