#pragma once
// The worker's command line: a mode word, then pairs of an option word and its value. Pure.

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vsthost {

enum class run_mode { process, configure, configure_live, probe, version, help };

struct options {
    run_mode mode = run_mode::version;
    std::string vst_path; // UTF-8
    int vst_version = 0;  // 2 or 3
    std::string pipe_name;
    // Probe mode.
    std::string state_path;
    std::string save_state_path;
    bool float64 = false;
    bool realtime = false;
    // Editor modes.
    bool dpi_aware = false;
    uint64_t parent_window = 0;
    std::string data_path;
    std::string window_title;
};

// The line for standard error.
struct usage_error {
    std::string text;
};

// `arguments` without the program's own name, UTF-8, and the `line` that they were taken from. An option that
// comes twice is refused, and a line with a quotation mark that nothing closes: a path with one would make a
// text of all behind it.
std::variant<options, usage_error> parse_command_line(const std::vector<std::string>& arguments,
                                                      std::wstring_view line);

// What --help prints, for the program of this name.
std::string help_text(const std::string& program);

} // namespace vsthost
