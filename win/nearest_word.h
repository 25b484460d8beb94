#pragma once
// For mistakes on a command line: which of the words there are may have been meant. Pure.

#include <string>
#include <string_view>
#include <vector>

namespace win {

// The word of which the fewest letters have to be added, removed or changed, whatever their case and the
// dashes before it; empty when about a third of the letters would have to be.
std::string nearest_word(std::string_view given, const std::vector<std::string>& words);

} // namespace win
