#pragma once
// The command line as a record. No files are touched here.

#include "player/chain/chain_item.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace player {

struct render_options {
    std::vector<std::string> inputs; // at least one
    std::string output;
    std::vector<chain_item> chain; // may be empty
    uint32_t frames = 4096;        // per chunk
    std::optional<double> seek;    // seconds
    bool tail = false;
    bool realtime = false;
};

struct preset_options {
    effect_options effect; // unless `show` is set
    std::string output;
    std::string show; // the file to print
};

struct configure_options {
    effect_options effect; // without a module: the file's
    std::string
        preset_file; // where the preset is read, unless there is an effect, and written; empty: nowhere
};

struct gui_arguments {
    std::string file;    // empty: none was named
    std::string capture; // empty: nowhere
};

enum class command { help, version, render, scan, preset, services, settings, configure, gui };

struct command_line {
    command what = command::help;
    std::string component; // empty: the default one
    std::string config;    // empty: the default file
    bool quiet = false;
    bool json = false;
    std::string help_text; // of command::help
    render_options render;
    std::vector<std::string> scan_folders; // as given; empty: those of the settings
    preset_options preset;
    std::vector<std::string> settings; // NAME or NAME=VALUE
    configure_options configure;
    gui_arguments gui; // also without any command
};

// `arguments` in UTF-8, without the program's name. Throws usage_error: one line that says what is wrong and
// names the nearest thing that would be right.
command_line parse_command_line(const std::vector<std::string>& arguments);

// The name of a layout of these speakers ("stereo", "5.1 (side)", ...); empty when there is none.
std::string layout_name(uint32_t mask);

} // namespace player
