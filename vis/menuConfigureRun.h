#pragma once
#include "catalogue/vstConfig.h"

#include <cstdint>

// The one configure run of the main menu's commands. What the user changes in the editor is written into the
// player's chain while the editor is open and when it ends. Main thread only.

// Opens the editor of a chain entry: the one that has the effect's path and `occurrence` others with it
// before it. An editor that is open is closed first; the last state of that one then goes to an entry by the
// new number already. Nothing happens while the player shuts down. Throws what CDialogConfigureVST throws.
void startMenuConfigureRun(vstConfig_t effect, uint32_t occurrence);

// For the player's quit: closes the editor, its last state is still written into the chain, and removes what
// a run left. Does nothing when no command was ever executed.
void endMenuConfigureRun() noexcept;
