#pragma once
// Loading and saving an effect's state as a ".vstpreset" file: the pickers, the files and the boxes that tell
// of failures. Main thread only.
//
// Both run message loops (the picker, the boxes): whoever calls may find its window, or itself, destroyed
// afterwards.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

constexpr uint64_t presetSizeLimit = 0x1000000; // bytes; a file of exactly this size is still read

// Asks for a file, reads it, then hands over its bytes, which are the new state as they stand. When the user
// gives up or the file cannot be read, `take` is not called: nothing was changed then, so a caller ends a
// configure run in `take` and not before. `take` first makes sure that its object is still there; the order
// in it is: stop the run (which may report a last state), replace the state, start a run, tell the player.
// A failure, also one that `take` throws, is shown in a box.
void loadPreset(void* parentWindow, const std::function<void(std::vector<uint8_t> state)>& take);

// Asks for a file and writes the state there. An empty state and a failure are shown in a box; what stood in
// the file before is then still there.
void savePreset(void* parentWindow, const std::vector<uint8_t>& state);
