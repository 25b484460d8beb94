#include "player/commands/commands.h"

#include "catalogue/vstConfig.h"
#include "player/chain/chain.h"
#include "player/commands/service_listing.h"
#include "player/host/component_settings.h"
#include "player/system/hexadecimal.h"
#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdarg>

namespace player {

namespace {

using json = nlohmann::ordered_json; // keys stay in the order they are documented in

std::string json_line(const json& value)
{
    // Names and paths from files need not be UTF-8.
    return value.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

[[gnu::format(__MINGW_PRINTF_FORMAT, 1, 2)]] std::string format(const char* pattern, ...)
{
    char buffer[256];
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(buffer, sizeof(buffer), pattern, arguments);
    va_end(arguments);
    return buffer;
}

json format_json(const wav_format& wav, uint64_t frames)
{
    return {{"rate", wav.rate}, {"channels", wav.channels}, {"mask", wav.mask}, {"frames", frames}};
}

std::string format_text(const wav_format& wav, uint64_t frames)
{
    return format("%s, %u Hz, %u channel%s (mask 0x%X), %llu frames", sample_type_name(wav.type), wav.rate,
                  wav.channels, wav.channels == 1 ? "" : "s", wav.mask,
                  static_cast<unsigned long long>(frames));
}

std::string render_json(const render_report& report)
{
    json value = {{"input", format_json(report.input, report.input_frames)},
                  {"output", format_json(report.outputs.front().format, report.outputs.front().frames)},
                  {"latencySeconds", report.latency_seconds},
                  {"tailFrames", report.tail_frames},
                  {"seconds", report.seconds},
                  {"speed", report.speed}};
    // Only there when the chain changed the format on the way.
    for (size_t i = 1; i < report.outputs.size(); ++i) {
        json more = format_json(report.outputs[i].format, report.outputs[i].frames);
        more["path"] = report.outputs[i].path;
        value["moreOutputs"].push_back(std::move(more));
    }
    return json_line(value);
}

std::string render_text(const render_report& report)
{
    std::string text = "input:   " + format_text(report.input, report.input_frames) + "\n";
    for (const rendered_file& file : report.outputs)
        text += "output:  " + format_text(file.format, file.frames) + ": " + file.path + "\n";
    text += format("latency: %.6g s\n", report.latency_seconds);
    text += format("tail:    %llu frames\n", static_cast<unsigned long long>(report.tail_frames));
    text += format("time:    %.3f s, %.1f times real time\n", report.seconds, report.speed);
    return text;
}

// In characters; good enough for columns.
size_t width_of(const std::string& utf8)
{
    return static_cast<size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string scan_text(const std::vector<vstConfig_t>& found)
{
    constexpr size_t widest = 48; // one long name must not push all paths away
    size_t column = 0;
    for (const vstConfig_t& config : found)
        column = std::max(column, std::min(width_of(displayName(config)), widest));
    std::string text;
    for (const vstConfig_t& config : found) {
        const std::string name = displayName(config);
        const size_t width = width_of(name);
        text += name + std::string(width < column ? column - width : 0, ' ') + "  " + config.path + "\n";
    }
    return text;
}

std::string scan_json(const std::vector<vstConfig_t>& found)
{
    json list = json::array();
    for (const vstConfig_t& config : found)
        list.push_back({{"displayName", displayName(config)},
                        {"name", config.name},
                        {"path", config.path},
                        {"arch", config.arch},
                        {"vstVersion", config.vstVersion}});
    return json_line(list);
}

std::string preset_json(const vstConfig_t& config)
{
    return json_line({{"displayName", displayName(config)},
                      {"name", config.name},
                      {"path", config.path},
                      {"arch", config.arch},
                      {"vstVersion", config.vstVersion},
                      {"flags", config.flags},
                      {"outputChannelMask", config.outputChannelMask},
                      {"state", to_hexadecimal(config.state)}});
}

std::string preset_text(const vstConfig_t& config)
{
    if (config.path.empty())
        return "no effect: sound passes unchanged\n";
    const std::string known = layout_name(config.outputChannelMask);
    const std::string layout = config.outputChannelMask == 0 ? "as the input"
                               : known.empty()               ? format("mask 0x%X", config.outputChannelMask)
                                                             : known;
    return "effect:  " + displayName(config) + "\npath:    " + config.path + "\nsamples: " +
           (config.flags & vstFlagFloat64 ? "64-bit floating-point" : "32-bit floating-point") +
           "\nlayout:  " + layout + "\nstate:   " + std::to_string(config.state.size()) + " bytes\n";
}

vstConfig_t parse_preset(const chain_entry& entry)
{
    try {
        return vstConfigFromPreset(entry.preset);
    } catch (const exception_io_data& error) {
        throw player_error(entry.file + ": " + error.what() + "; make it again with the preset command");
    }
}

std::string on_off(bool value)
{
    return value ? "on" : "off";
}

std::string joined(const std::vector<std::string>& items)
{
    std::string text;
    for (const std::string& item : items)
        text += (text.empty() ? "" : ";") + item;
    return text;
}

} // namespace

command_result run_render(const command_line& line, player_host& host, abort_callback& abort,
                          const render_progress& progress)
{
    const render_report report = render(line.render, host, abort, progress);
    if (report.aborted && report.outputs.empty())
        return {
            {}, line.render.output + ": stopped early; the file that was there before is left as it was", 1};
    command_result result;
    result.output = line.json ? render_json(report) : render_text(report);
    if (report.aborted) {
        result.exit_code = 1;
        result.failure = report.outputs.front().path +
                         ": stopped early; it holds what was rendered until then, "
                         "render again for the rest";
    }
    return result;
}

command_result run_scan(const command_line& line, player_host& host, abort_callback& stop,
                        const scan_show& show)
{
    const scan_report report = scan(line.scan_folders, host, stop, show);
    if (report.stopped)
        return {{}, "scan: stopped before its end, so nothing is listed; scan again, or fewer folders", 1};
    if (line.json)
        return {scan_json(report.found), {}};
    if (report.found.empty())
        return {{},
                line.scan_folders.empty() ? "scan: no effects found; name the folders that they lie in"
                                          : "scan: no effects found in these folders",
                0};
    return {scan_text(report.found), {}};
}

command_result run_services(const command_line& line, const player_host& host)
{
    const auto services = list_services(host.component_services());
    if (line.json) {
        json list = json::array();
        for (const auto& service : services)
            list.push_back({{"class", service.class_name},
                            {"kind", service.kind},
                            {"guid", "{" + guid_text(service.guid) + "}"},
                            {"name", service.name}});
        return {json_line(list), {}};
    }
    std::string text;
    for (const auto& service : services)
        text += format("%-18s %-9s {%s} ", service.class_name.c_str(), service.kind.c_str(),
                       guid_text(service.guid).c_str()) +
                service.name + "\n";
    return {text, {}};
}

command_result run_preset(const command_line& line)
{
    const bool shows = !line.preset.show.empty();
    if (!shows)
        check_replaceable(line.preset.output);
    const chain_entry entry =
        shows ? load_preset_entry(line.preset.show) : make_effect_entry(line.preset.effect);
    const vstConfig_t config = parse_preset(entry);
    if (!shows) {
        if (is_same_file(line.preset.output, config.path))
            throw player_error(line.preset.output + ": is the module itself; choose another output");
        check_preset_target(line.preset.output);
        replace_whole_file(line.preset.output, {static_cast<const uint8_t*>(entry.preset.get_data()),
                                                entry.preset.get_data_size()});
    }
    return show_preset(entry, line.json);
}

command_result show_preset(const chain_entry& entry, bool as_json)
{
    const vstConfig_t config = parse_preset(entry);
    return {as_json ? preset_json(config) : preset_text(config), {}};
}

command_result run_settings(const command_line& line, config_store& store)
{
    // All of them first: a mistake in the last must not leave the others done.
    for (const std::string& item : line.settings)
        check_setting(item);
    for (const std::string& item : line.settings) {
        if (item.find('=') != std::string::npos)
            change_setting(store, item);
    }
    const bool sets_folders = std::ranges::any_of(
        line.settings, [](const std::string& item) { return item.starts_with("folders="); });
    json values;
    std::string text, missing;
    for (const component_setting& now : read_settings(store)) {
        values[now.name] = now.is_switch ? json(now.on) : json(now.folders);
        const bool wanted =
            std::any_of(line.settings.begin(), line.settings.end(),
                        [&](const std::string& item) { return item.substr(0, item.find('=')) == now.name; });
        if (wanted || line.settings.empty())
            text += now.name + "=" + (now.is_switch ? on_off(now.on) : joined(now.folders)) + "\n";
        for (const std::string& folder : now.folders) {
            if (sets_folders && now.name == "folders" && !is_folder(folder))
                missing += (missing.empty() ? "" : ", ") + folder;
        }
    }
    if (!missing.empty())
        missing += ": is no folder; it is stored all the same, check the path";
    return {line.json ? json_line(values) : text, missing, 0};
}

} // namespace player
