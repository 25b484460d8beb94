#pragma once

#include <windows.h>

namespace vsthost {

// Starts a thread that nobody joins, and waits until it runs: five seconds at most, without a word when it
// cannot be made. For what has to act while a module hangs in being loaded or unloaded: the module then keeps
// the loader's lock for ever, and each thread takes that once before its first line.
void start_early_thread(LPTHREAD_START_ROUTINE function, void* argument);

} // namespace vsthost
