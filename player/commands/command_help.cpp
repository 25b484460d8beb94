#include "player/commands/command_help.h"

#include "win/nearest_word.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>

namespace player {

namespace {

constexpr size_t page_width = 79;
constexpr size_t text_column = 21;

// What cannot be told from the options. Examples are lines of their own.
struct page_words {
    std::string_view command; // empty: the program's own page
    std::string_view usage;
    std::string_view examples;
};
constexpr page_words pages[] = {
    {"", "[COMMAND] [OPTIONS]        without a command the window opens",
     R"(qvxplayer song.wav
qvxplayer render in.wav out.wav --effect C:\VST\Echo.vst3)"},
    {"render", "IN.wav... OUT.wav [--effect MODULE]... [OPTIONS]",
     R"(qvxplayer render in.wav out.wav --effect Gain.dll --effect Echo.vst3 --tail
qvxplayer render in.wav out.wav --effect Echo.vst3 --state echo.vstpreset
qvxplayer render in.wav out.wav --preset my.preset --json)"},
    {"scan", "[DIR...] [--json]",
     R"(qvxplayer scan C:\VST "D:\More effects"
qvxplayer scan --json)"},
    {"preset", "MODULE OUT [OPTIONS], or: preset --show FILE",
     R"(qvxplayer preset Echo.vst3 echo.preset --state echo.vstpreset
qvxplayer preset --show echo.preset)"},
    {"configure", "[--effect MODULE] [--preset FILE] [OPTIONS]",
     R"(qvxplayer configure --effect Echo.vst3 --preset echo.preset
qvxplayer configure --preset echo.preset)"},
    {"services", "[--json]", "qvxplayer services"},
    {"settings", "[NAME[=VALUE]...] [--json]",
     R"(qvxplayer settings
qvxplayer settings process-tail=on "folders=C:\VST;D:\More effects")"},
    {"gui", "[FILE.wav] [--capture FILE.wav]", "qvxplayer gui song.wav"},
};

const page_words& words_for(const std::string& command)
{
    return *std::find_if(std::begin(pages), std::end(pages) - 1,
                         [&](const page_words& page) { return page.command == command; });
}

// "  name   text", the text wrapped into its column.
std::string entry(const std::string& name, std::string_view text)
{
    std::string result = "  " + name;
    size_t column = result.size();
    bool fresh = column + 2 > text_column;
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size());
        if (fresh || column + 1 + end > page_width) {
            result += "\n";
            column = 0;
        }
        if (column < text_column)
            result += std::string(text_column - column, ' ');
        else
            result += ' ';
        column = std::max(column + 1, text_column) + end;
        result += text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        fresh = false;
    }
    return result + "\n";
}

// "--effect MODULE", or what stands without a name.
std::string shown_name(const CLI::Option& option)
{
    if (option.get_positional())
        return option.get_type_name();
    std::string name = option.get_name();
    if (!is_flag(option))
        name += " " + option.get_type_name();
    return name;
}

std::string options_of(const CLI::App& app)
{
    std::string text;
    for (const CLI::Option* option : app.get_options()) {
        // Help is the same everywhere.
        if (option != app.get_help_ptr())
            text += entry(shown_name(*option), option->get_description());
    }
    return text;
}

const CLI::Option* option_in(const CLI::App& app, std::string_view text)
{
    const CLI::Option* found = nullptr;
    size_t longest = 0;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            if (name.size() > longest && text.find("--" + name) != std::string_view::npos) {
                found = option;
                longest = name.size();
            }
        }
    }
    return found;
}

} // namespace

bool is_flag(const CLI::Option& option)
{
    return !option.get_positional() && option.get_expected_min() == 0;
}

std::string help_page(const CLI::App& root, const CLI::App& which)
{
    const bool is_root = &which == &root;
    const page_words& words = words_for(is_root ? std::string() : which.get_name());
    const std::string program = is_root ? root.get_name() : root.get_name() + " " + which.get_name();
    std::string text =
        which.get_description() + "\n\nUsage: " + program + " " + std::string(words.usage) + "\n\n";
    if (is_root) {
        text += "Commands (COMMAND --help tells more about one):\n";
        for (const CLI::App* command : root.get_subcommands({}))
            text += entry(command->get_name(), command->get_description());
        text += "\nOptions, also behind a command:\n";
    }
    text += options_of(which) + entry("-h, --help", "this page") + "\nExamples:\n";
    for (std::string_view rest = words.examples; !rest.empty();) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        text += "  " + std::string(rest.substr(0, end)) + "\n";
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (!is_root)
        text += "\nThe options of " + root.get_name() + " --help may stand here as well.\n";
    return text;
}

std::string explain_mistake(const CLI::App& root, const CLI::ParseError& error)
{
    const std::string what = error.what();
    const CLI::Option* option = nullptr;
    for (const CLI::App* command : root.get_subcommands())
        option = option ? option : option_in(*command, what);
    if (!option)
        option = option_in(root, what);
    if (!option)
        return what + "; --help lists what there is";
    const std::string name = option->get_name();
    if (is_flag(*option))
        return name + " takes no value; leave the value out";
    if (error.get_name() == "ArgumentMismatch")
        return option->count() > 1 ? name + " was given more than once; give it once"
                                   : name + " needs a value: " + shown_name(*option);
    const auto given = option->results();
    const std::string& description = option->get_description(); // what it takes: what that is for
    return name + " takes " + description.substr(0, description.find(':')) +
           (given.empty() ? "" : "; \"" + given.back() + "\" is none");
}

std::string suggest(const std::string& wrong, const std::vector<std::string>& candidates,
                    const std::string& otherwise)
{
    const std::string nearest = win::nearest_word(wrong, candidates);
    return nearest.empty() ? otherwise : "; did you mean " + nearest + "?";
}

} // namespace player
