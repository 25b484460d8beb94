#pragma once
#include <cstdint>
#include <stdexcept>

// For objects with one command of the main menu, whose index is 0. Main thread.
inline void check_only_command(uint32_t index)
{
    if (index != 0)
        throw std::out_of_range("the main menu's command: there is only one");
}
