#pragma once
// One function a mode, on the program's first thread. All throw fatal_error and std::bad_alloc.

#include "vsthost/command_line.h"

#include <string>

namespace vsthost {

// Loads the effect and answers the pipe until the player goes; the process ends inside.
[[noreturn]] void run_process_mode(const options& wanted);

// Shows the effect's editor until the user closes it or the player goes.
void run_configure_mode(const options& wanted);

// Prints a JSON record of the module.
void run_probe_mode(const options& wanted);

} // namespace vsthost
