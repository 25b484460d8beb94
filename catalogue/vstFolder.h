#pragma once
// Folders that effects are looked for in, and lists of paths as one text.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct vstFolder_t {
    static constexpr int32_t user = 0;      // added by the user
    static constexpr int32_t vst2_home = 2; // the system's folder for VST 2 modules
    static constexpr int32_t vst3_home = 3; // the system's folder for VST 3 modules

    std::string path; // UTF-8
    int32_t kind = user;

    friend bool operator==(const vstFolder_t&, const vstFolder_t&) = default;
};

// A list of paths as text: one a line, no line feed after the last, the empty list is the empty text.
// Splitting cuts at every line feed and drops the carriage returns right before it; what follows the last
// line feed is always a piece, so that the empty text gives one empty piece.
std::vector<std::string> splitPaths(std::string_view text);
std::string joinPaths(const std::vector<std::string>& paths);

// Without its empty pieces.
std::vector<std::string> withoutEmpty(std::vector<std::string> paths);

// The value of an environment variable (UTF-8), nothing when it is missing; empty values are there.
using environment_reader = std::function<std::optional<std::string>(const char* name)>;

// The system's folders for VST modules: for each of the two kinds the 32-bit program's place, then the 64-bit
// one's. A kind of which either variable is missing contributes nothing; equal places are not merged.
std::vector<vstFolder_t> composeDefaultFolders(const environment_reader& environment);
