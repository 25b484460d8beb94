#pragma once
// What the command line says about itself: help that fits on a screen, and mistakes in words that name the
// option, what is wrong and what is allowed. Pure.

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
class ParseError;
} // namespace CLI

namespace player {

// The page of a command, or of the program for `root` itself: at most 80 columns wide.
std::string help_page(const CLI::App& root, const CLI::App& which);

// Is given or not, without a value.
bool is_flag(const CLI::Option& option);

// The parser's error as one line.
std::string explain_mistake(const CLI::App& root, const CLI::ParseError& error);

// "; did you mean X?" for the nearest candidate, or `otherwise` when none is near.
std::string suggest(const std::string& wrong, const std::vector<std::string>& candidates,
                    const std::string& otherwise = "; --help lists what there is");

} // namespace player
