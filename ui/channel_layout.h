#pragma once
#include <cstdint>
#include <string>

// The text of a speaker mask: a layout's name ("5.1"), else the names of its speakers from the lowest bit up
// ("FL FC"), "?" for those that have none. 0 is "<no override>".
std::string channelMaskText(uint32_t mask);
