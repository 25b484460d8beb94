#include "vsthost/command_line.h"

#include "win/nearest_word.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>
#include <string_view>

namespace {

using vsthost::options;
using vsthost::run_mode;
using vsthost::usage_error;

struct mode_word {
    std::string_view word;
    run_mode mode;
};
constexpr mode_word modes[] = {
    {"process", run_mode::process},
    {"configure", run_mode::configure},
    {"configure-live", run_mode::configure_live},
    {"probe", run_mode::probe},
    {"--version", run_mode::version},
    {"--help", run_mode::help},
    {"-h", run_mode::help},
    {"/?", run_mode::help},
};
constexpr std::string_view mode_words = "process, configure, configure-live, probe, --version or --help";

// Stores a value; false when the value is none that the option takes.
using setter = bool (*)(options&, const std::string&);

struct option_word {
    std::string_view word;
    std::string_view values; // for the usage line
    setter set;
};

template <std::string options::*member>
bool set_text(options& into, const std::string& value)
{
    into.*member = value;
    return !value.empty();
}

bool set_choice(bool& target, std::string_view value, std::string_view yes, std::string_view no)
{
    target = value == yes;
    return value == yes || value == no;
}

bool set_parent(options& into, const std::string& value)
{
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, into.parent_window, 16);
    return error == std::errc() && stop == end;
}

constexpr option_word option_words[] = {
    {"--vst", "a file or bundle folder", set_text<&options::vst_path>},
    {"--vst-version", "2 or 3",
     [](options& o, const std::string& v) {
         o.vst_version = v == "2" ? 2 : 3;
         return v == "2" || v == "3";
     }},
    {"--pipe", "a pipe's name", set_text<&options::pipe_name>},
    {"--formattag", "3", [](options&, const std::string& v) { return v == "3"; }},
    {"--bits", "64", [](options&, const std::string& v) { return v == "64"; }},
    {"--protocol", "chunked", [](options&, const std::string& v) { return v == "chunked"; }},
    {"--float64", "0 or 1",
     [](options& o, const std::string& v) { return set_choice(o.float64, v, "1", "0"); }},
    {"--process", "realtime or offline",
     [](options& o, const std::string& v) { return set_choice(o.realtime, v, "realtime", "offline"); }},
    {"--dpi-aware", "yes or no",
     [](options& o, const std::string& v) { return set_choice(o.dpi_aware, v, "yes", "no"); }},
    {"--parent-window", "a window handle in hexadecimal", set_parent},
    {"--data", "a file", set_text<&options::data_path>},
    {"--state", "a file", set_text<&options::state_path>},
    {"--save-state", "a file", set_text<&options::save_state_path>},
    {"--window-title", "a text",
     [](options& o, const std::string& v) {
         o.window_title = v;
         return true;
     }},
};

// A path is put into the command line as it is, so one with a quotation mark may bring options of its own, or
// take the following ones for part of itself. No file has such a name: such a line is refused as a whole.
// People, who probe, may put their options in any order.
std::optional<usage_error> broken_out(const std::vector<std::string>& arguments)
{
    for (size_t i = 1; i < arguments.size(); ++i) {
        if (arguments[i].find('"') != std::string::npos)
            return usage_error{"an argument with a quotation mark: " + arguments[i]};
        if (i % 2 == 0)
            continue;
        if (std::find(arguments.begin() + 1, arguments.begin() + static_cast<std::ptrdiff_t>(i),
                      arguments[i]) != arguments.begin() + static_cast<std::ptrdiff_t>(i))
            return usage_error{"option " + arguments[i] + " is given twice"};
        if (arguments[0] != "probe" && arguments[i] == "--vst" && i + 2 < arguments.size() &&
            arguments[i + 2] != "--vst-version")
            return usage_error{"behind --vst and its path comes --vst-version, not \"" + arguments[i + 2] +
                               "\""};
    }
    return std::nullopt;
}

usage_error missing(const std::string& mode, std::string_view option)
{
    const auto word = std::ranges::find(option_words, option, &option_word::word);
    return {"mode \"" + mode + "\" needs the option " + std::string(option) + ": " +
            std::string(word->values)};
}

bool is_help(std::string_view word)
{
    const auto found = std::ranges::find(modes, word, &mode_word::word);
    return found != std::end(modes) && found->mode == run_mode::help;
}

template <class Table>
std::string suggestion(const std::string& given, const Table& table)
{
    std::vector<std::string> words;
    for (const auto& entry : table)
        words.emplace_back(entry.word);
    const std::string nearest = win::nearest_word(given, words);
    return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

usage_error unknown_mode(const std::string& given)
{
    return {"unknown mode \"" + given + "\": use " + std::string(mode_words) + suggestion(given, modes)};
}

usage_error unknown_option(const std::string& given)
{
    // A path by itself is what everybody tries first.
    if (!given.starts_with("-"))
        return {"\"" + given + "\" stands alone: put the option that it is for before it, as in --vst \"" +
                given + "\""};
    std::string words;
    for (const option_word& option : option_words)
        words += (words.empty() ? "" : " ") + std::string(option.word);
    return {"unknown option \"" + given + "\": use some of " + words + suggestion(given, option_words)};
}

bool is_vst3_name(std::string_view path)
{
    constexpr std::string_view suffix = ".vst3";
    return path.size() > suffix.size() &&
           std::ranges::equal(path.substr(path.size() - suffix.size()), suffix, [](char have, char want) {
               return (have >= 'A' && have <= 'Z' ? have + 32 : have) == want;
           });
}

} // namespace

std::variant<options, usage_error> vsthost::parse_command_line(const std::vector<std::string>& arguments,
                                                               std::wstring_view line)
{
    if (arguments.empty())
        return usage_error{"no mode given: use " + std::string(mode_words)};
    const auto mode = std::ranges::find(modes, arguments[0], &mode_word::word);
    if (mode == std::end(modes))
        return unknown_mode(arguments[0]);

    options result;
    result.mode = mode->mode;
    if (arguments.size() == 2 && is_help(arguments[1])) // about a mode
        result.mode = run_mode::help;
    if (result.mode == run_mode::help)
        return result;
    for (size_t i = 1; i < arguments.size(); i += 2) {
        const auto option = std::ranges::find(option_words, arguments[i], &option_word::word);
        if (option == std::end(option_words))
            return unknown_option(arguments[i]);
        if (i + 1 == arguments.size())
            return usage_error{"option " + arguments[i] + " needs a value: " + std::string(option->values)};
        if (!option->set(result, arguments[i + 1]))
            return usage_error{"option " + arguments[i] + " takes " + std::string(option->values) +
                               ", not \"" + arguments[i + 1] + "\""};
    }
    if (result.mode == run_mode::version)
        return result;
    if (const auto broken = broken_out(arguments))
        return *broken;
    if (std::ranges::count(line, L'"') % 2 != 0)
        return usage_error{
            "a quotation mark on the command line is not closed: put paths with spaces between two"};
    if (result.vst_path.empty())
        return missing(arguments[0], "--vst");
    if (result.vst_version == 0 && result.mode == run_mode::probe)
        result.vst_version = is_vst3_name(result.vst_path) ? 3 : 2;
    if (result.vst_version == 0)
        return missing(arguments[0], "--vst-version");
    if ((result.mode == run_mode::process || result.mode == run_mode::configure_live) &&
        result.pipe_name.empty())
        return missing(arguments[0], "--pipe");
    return result;
}

std::string vsthost::help_text(const std::string& program)
{
    std::string text = program + R"(: loads one VST effect. The player starts it by itself.

What a module holds, as JSON; its state can be read from a file, or saved to one:
  PROGRAM probe --vst MODULE [--vst-version 2|3]
               [--state FILE] [--save-state FILE]
  PROGRAM --version
  PROGRAM --help

What the player asks for:
  PROGRAM process --vst MODULE --vst-version 2|3 --pipe NAME
               [--float64 0|1] [--process realtime|offline]
  PROGRAM configure|configure-live --vst MODULE --vst-version 2|3
               [--data FILE] [--window-title TEXT] [--parent-window HEX]
               [--dpi-aware yes|no] [--pipe NAME]
(also --formattag 3, --bits 64 and --protocol chunked, the only values)

MODULE is a .dll, a .vst3 file or a VST 3 bundle folder. "configure" without a
pipe shows the effect's editor. Errors are one line on standard error.

Examples:
  PROGRAM probe --vst C:\Effects\Echo.vst3
  PROGRAM probe --vst Echo.dll --save-state echo.fxb
  PROGRAM configure --vst Echo.vst3 --vst-version 3 --data echo.vstpreset
)";
    const std::string_view name = "PROGRAM";
    for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at))
        text.replace(at, name.size(), program);
    return text;
}
