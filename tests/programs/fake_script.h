#pragma once
// The script of a stand-in worker: lines of words. See README.md.

#include <map>
#include <string>
#include <string_view>
#include <vector>

using statement = std::vector<std::string>; // never empty; the first word is the verb

// Throws std::runtime_error that names the line. `options`: what a word $--option stands for.
std::vector<statement> parse_script(std::string_view text, const std::map<std::string, std::string>& options);

// Numbers of a script. Throw std::runtime_error when the word is not one.
unsigned long long number_of(const std::string& word);
double real_of(const std::string& word);
std::string hexadecimal_of(std::string_view bytes);
