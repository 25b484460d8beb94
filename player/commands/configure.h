#pragma once
// A component's configuration dialog by itself: opened on a preset, which is written back.

#include "player/commands/commands.h"

namespace player {

// Shows the dialog until the user closes it or `stop` is set, then writes the preset file if one was named
// and the preset changed, and tells what the preset holds. A state that the effect does not take is refused
// before. The component is loaded. Main thread. Throws player_error and what the component throws.
command_result run_configure(const command_line& line, player_host& host, abort_callback& stop);

} // namespace player
