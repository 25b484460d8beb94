#pragma once
// Keys as both plug-in formats number them. Pure.

#include <cstdint>

namespace vsthost {

// Of a key as Windows numbers it (VK_...); 0 for keys that are told by their character.
uint8_t effect_key_code(unsigned virtual_key);

} // namespace vsthost
