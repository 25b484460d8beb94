#pragma once
#include <string>

namespace Nv {

// A fresh random GUID as 32 lower-case hexadecimal digits: its 16 bytes as they lie in memory, two digits
// each. Throws std::runtime_error "CoCreateGuid failure".
std::string makeGuidText();

// \\.\pipe\ and makeGuidText: the name of a pipe that nobody else has. Throws the same.
std::wstring makePipeName();

} // namespace Nv
