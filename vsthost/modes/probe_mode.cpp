#include "vsthost/editor/effect_editor.h"
#include "vsthost/editor/state_file.h"
#include "vsthost/effect.h"
#include "vsthost/exit_codes.h"
#include "vsthost/gui_loop.h"
#include "vsthost/modes/modes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"
#include "win/error_text.h"
#include "win/long_path.h"

#include <windows.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace vsthost;

constexpr unsigned exit_limit = 5000; // ms
constexpr uint32_t probe_rate = 44100;

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char c : text) {
        const auto unit = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (unit < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit));
            result += escape;
        } else {
            result += c;
        }
    }
    return result + "\"";
}

std::string pair(const char* name, const std::string& value)
{
    return "  " + quoted(name) + ": " + value;
}

std::string list(const std::vector<std::string>& items)
{
    std::string result;
    for (const std::string& item : items)
        result += (result.empty() ? "\n    " : ",\n    ") + item;
    return result.empty() ? "[]" : "[" + result + "\n  ]";
}

std::string layout(const channel_layout& bus)
{
    return "{\"channels\": " + std::to_string(bus.channels) + ", \"mask\": " + std::to_string(bus.mask) + "}";
}

std::string tail_text(const tail_length& tail)
{
    return tail.ring_out ? "null" : std::to_string(tail.frames);
}

std::string editor_text(const std::optional<editor_size>& size)
{
    if (!size)
        return "null";
    return "{\"width\": " + std::to_string(size->width) + ", \"height\": " + std::to_string(size->height) +
           "}";
}

std::string number(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

std::string record(effect& probed, const options& wanted)
{
    const bus_pair stereo{{2, 0x3}, {2, 0x3}};
    const bus_pair own = probed.prepare(probe_rate, stereo);
    probed.attend();
    const effect_info about = probed.info();
    std::vector<std::string> classes;
    for (const class_info& each : probed.classes())
        classes.push_back("{\"name\": " + quoted(each.name) + ", \"vendor\": " + quoted(each.vendor) +
                          ", \"id\": " + quoted(each.id) + "}");
    std::vector<std::string> parameters;
    for (const parameter_info& each : probed.parameters())
        parameters.push_back("{\"id\": " + std::to_string(each.id) + ", \"name\": " + quoted(each.name) +
                             ", \"unit\": " + quoted(each.unit) + ", \"value\": " + number(each.value) + "}");
    std::vector<std::string> buses;
    for (const bus_info& each : probed.buses())
        buses.push_back("{\"name\": " + quoted(each.name) +
                        ", \"direction\": " + (each.input ? "\"input\"" : "\"output\"") +
                        ", \"main\": " + (each.main ? "true" : "false") +
                        ", \"channels\": " + std::to_string(each.layout.channels) +
                        ", \"mask\": " + std::to_string(each.layout.mask) + "}");
    const std::string items[] = {
        pair("path", quoted(wanted.vst_path)),
        pair("name", quoted(about.name)),
        pair("vendor", quoted(about.vendor)),
        pair("format", quoted(about.format)),
        pair("bits", std::to_string(sizeof(void*) * 8)),
        pair("classes", list(classes)),
        pair("input", layout(own.in)),
        pair("output", layout(own.out)),
        pair("buses", list(buses)),
        pair("editor", editor_text(probed.editor())),
        pair("float64", about.is_double ? "true" : "false"),
        pair("latencySamples", std::to_string(probed.latency())),
        pair("tailSamples", tail_text(probed.tail())),
        pair("stateBytes", std::to_string(probed.state().size())),
        pair("parameters", list(parameters)),
    };
    std::string text;
    for (const std::string& item : items)
        text += (text.empty() ? "{\n" : ",\n") + item;
    return text + "\n}\n";
}

// A configure run's file may be absent; one that somebody typed may not.
std::vector<uint8_t> given_state(const std::string& path)
{
    if (path.empty())
        return {};
    if (GetFileAttributesW(win::long_path(path).c_str()) == INVALID_FILE_ATTRIBUTES)
        throw fatal_error(exit_code::state_file,
                          "cannot read the state file \"" + path + "\": " + win::error_text(GetLastError()));
    return read_state_file(path);
}

} // namespace

void vsthost::run_probe_mode(const options& wanted)
{
    start_watchdog(nullptr);
    watch_this_thread(thread_role::gui);
    gui_loop gui;
    const effect_options how{true, false}; // says whether 64-bit samples are taken
    std::unique_ptr<effect> probed = load_effect(wanted.vst_version, wanted.vst_path, how);
    // No bytes create the effect that a player without a state gets.
    probed->set_state(given_state(wanted.state_path));
    print_to_user(record(*probed, wanted));
    if (!wanted.save_state_path.empty())
        if (const auto error = replace_state_file(wanted.save_state_path, probed->state()))
            throw fatal_error(exit_code::state_file,
                              "cannot write the state file \"" + wanted.save_state_path +
                                  "\": " + file_error_text(wanted.save_state_path, error));
    start_exit_deadline(exit_limit);
    probed.reset();
}
