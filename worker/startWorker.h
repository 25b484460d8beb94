#pragma once
#include "worker/commandLine.h"
#include "worker/winPipeServerLite.h"

#include <exception>
#include <string>

namespace Nv {

// The component's own module path (UTF-8), as the player told it; the worker programs lie in the same folder.
// Set once on the main thread while the component is loaded; empty before. Any thread may ask.
void setComponentPath(std::string path);
std::string componentPath();

// Starts a worker for an effect and waits up to 10 seconds until it has opened its pipe. `mode` and
// `options`: see worker/commandLine.h. The worker's standard error is relayed to the console on a thread of
// its own. Blocks; runs on the thread that holds the conversation. Throws what winPipeServerLite and
// workerProcess throw, and exception_win32 when the player has no thread for the relay: there is no new
// worker then, and `pipe` keeps the new pipe and the worker of an earlier launch. After a failed connect the
// worker is still there, held by `pipe` and by its relay. Either way the caller ends it (stopWorker).
void startWorker(winPipeServerLite& pipe, const vstConfig_t& effect, std::string_view mode,
                 const argumentList& options);

// Says on the console, behind `what`, why a start failed: exceptions have fixed texts, of which
// "file not found" does not say that the worker program is the file. Any thread.
void tellFailedStart(const char* what, const vstConfig_t& effect, const std::exception& failure) noexcept;

} // namespace Nv
