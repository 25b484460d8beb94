#pragma once
#include <exception>
#include <string>

namespace Nv {

// What a failure says to a person, UTF-8: the system's words instead of a code's number, and words for a lack
// of memory; else the exception's own text. Any thread.
std::string failureText(const std::exception& failure);

} // namespace Nv
