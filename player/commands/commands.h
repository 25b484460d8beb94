#pragma once
// The commands of the command line: each returns what goes to standard output and throws what goes wrong.

#include "player/chain/chain.h"
#include "player/commands/command_line.h"
#include "player/commands/render.h"
#include "player/commands/scan.h"
#include "player/host/player_host.h"

#include <string>

namespace player {

struct command_result {
    std::string output;  // whole lines
    std::string failure; // the line for standard error; empty when there is nothing to say
    int exit_code = 0;   // 0 done, 1 failed, 2 the command line is wrong
};

// The services are available; a scan and the two below need no component.
command_result run_render(const command_line& line, player_host& host, abort_callback& abort,
                          const render_progress& progress);
command_result run_scan(const command_line& line, player_host& host, abort_callback& stop,
                        const scan_show& show);
command_result run_services(const command_line& line, const player_host& host);
command_result run_preset(const command_line& line);
// What a preset holds, for people or as JSON. Throws player_error when its bytes are no preset.
command_result show_preset(const chain_entry& entry, bool as_json);
command_result run_settings(const command_line& line, config_store& store);

} // namespace player
