#include "vsthost/editor/key_codes.h"

namespace {

struct key_pair {
    uint8_t windows;
    uint8_t effect;
};

// Windows' numbers in words: this file builds without its headers.
constexpr key_pair keys[] = {
    {0x08, 1},  // back
    {0x09, 2},  // tab
    {0x0C, 3},  // clear
    {0x0D, 4},  // return
    {0x13, 5},  // pause
    {0x1B, 6},  // escape
    {0x20, 7},  // space
    {0x23, 9},  // end
    {0x24, 10}, // home
    {0x25, 11}, // left
    {0x26, 12}, // up
    {0x27, 13}, // right
    {0x28, 14}, // down
    {0x21, 15}, // page up
    {0x22, 16}, // page down
    {0x29, 17}, // select
    {0x2A, 18}, // print
    {0x2C, 20}, // snapshot
    {0x2D, 21}, // insert
    {0x2E, 22}, // delete
    {0x2F, 23}, // help
    {0x6A, 34}, // multiply
    {0x6B, 35}, // add
    {0x6C, 36}, // separator
    {0x6D, 37}, // subtract
    {0x6E, 38}, // decimal
    {0x6F, 39}, // divide
    {0x90, 52}, // num lock
    {0x91, 53}, // scroll lock
    {0x10, 54}, // shift
    {0x11, 55}, // control
    {0x12, 56}, // alternate
};
constexpr unsigned first_number_pad = 0x60;
constexpr unsigned first_function_key = 0x70;

} // namespace

uint8_t vsthost::effect_key_code(unsigned virtual_key)
{
    if (virtual_key >= first_number_pad && virtual_key < first_number_pad + 10)
        return static_cast<uint8_t>(24 + virtual_key - first_number_pad);
    if (virtual_key >= first_function_key && virtual_key < first_function_key + 12)
        return static_cast<uint8_t>(40 + virtual_key - first_function_key);
    for (const key_pair& each : keys)
        if (each.windows == virtual_key)
            return each.effect;
    return 0;
}
