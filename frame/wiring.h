#pragma once

// Tells the lower rooms what they ask of higher ones, and the quit what has to end then. Once, on the main
// thread, when the player fetches the component.
void wire_rooms();
