#include "player/commands/command_line.h"

#include "player/system/player_error.h"

#include <doctest/doctest.h>

using namespace player;

namespace {

std::string refusal(const std::vector<std::string>& arguments)
{
    try {
        parse_command_line(arguments);
    } catch (const usage_error& error) {
        return error.what();
    }
    return "accepted";
}

} // namespace

TEST_CASE("command line: options of an effect bind to the --effect before them")
{
    const command_line line = parse_command_line(
        {"--quiet", "render",   "in 1.wav",   "--effect", "a.dll",   "--float64", "--effect",
         "b.vst3",  "--layout", "5.1 (side)", "--state",  "b.state", "--preset",  "c.preset",
         "in2.wav", "--effect", "d.dll",      "--state",  "d.state", "out.wav",   "--frames",
         "1",       "--seek",   "1.5",        "--tail",   "--json",  "--config",  "x.json"});
    CHECK(line.what == command::render);
    CHECK(line.quiet);
    CHECK(line.json);
    CHECK(line.config == "x.json");
    CHECK(line.render.inputs == std::vector<std::string>{"in 1.wav", "in2.wav"});
    CHECK(line.render.output == "out.wav");
    CHECK(line.render.frames == 1);
    CHECK(line.render.seek == 1.5);
    CHECK(line.render.tail);
    CHECK_FALSE(line.render.realtime);
    REQUIRE(line.render.chain.size() == 4);
    const auto& chain = line.render.chain;
    CHECK(chain[0].effect.module == "a.dll");
    CHECK(chain[0].effect.float64);
    CHECK_FALSE(chain[0].effect.state_file);
    CHECK(chain[1].effect.module == "b.vst3");
    CHECK(chain[1].effect.output_mask == 0x60F);
    CHECK(chain[1].effect.state_file == "b.state");
    CHECK_FALSE(chain[1].effect.float64);
    CHECK(chain[2].preset_file == "c.preset");
    CHECK(chain[3].effect.state_file == "d.state");
    CHECK(chain[3].effect.output_mask == 0);
}

TEST_CASE("command line: the other commands")
{
    const command_line made = parse_command_line({"preset", "--layout", "mono", "m.dll", "out", "--float64"});
    CHECK(made.what == command::preset);
    CHECK(made.preset.effect.module == "m.dll");
    CHECK(made.preset.effect.output_mask == 0x4);
    CHECK(made.preset.effect.float64);
    CHECK(made.preset.output == "out");
    CHECK(parse_command_line({"preset", "--show", "f", "--json"}).preset.show == "f");
    const command_line dialog =
        parse_command_line({"configure", "--effect", "m", "--float64", "--preset", "p"});
    CHECK(dialog.what == command::configure);
    CHECK(dialog.configure.effect.module == "m");
    CHECK(dialog.configure.effect.float64);
    CHECK(dialog.configure.preset_file == "p");
    CHECK(parse_command_line({"scan"}).what == command::scan);
    CHECK(parse_command_line({"scan", "/a", "--json", "C:\\b"}).scan_folders ==
          std::vector<std::string>{"/a", "C:\\b"});
    CHECK(parse_command_line({"services", "--component", "c.dll"}).component == "c.dll");
    CHECK(parse_command_line({"settings", "dpi-aware", "folders=C:\\A;C:\\B"}).settings.size() == 2);
    CHECK(parse_command_line({"--version"}).what == command::version);
    // Paths with slashes are paths, commands' names may be files.
    const command_line render = parse_command_line({"render", "/a.wav", "services", "--effect=/x/y.dll"});
    CHECK(render.render.inputs == std::vector<std::string>{"/a.wav"});
    CHECK(render.render.output == "services");
    CHECK(render.render.chain.at(0).effect.module == "/x/y.dll");
    // The window, with and without its name.
    CHECK(parse_command_line({}).what == command::gui);
    const command_line window = parse_command_line({"gui", "a.wav", "--capture", "out.wav"});
    CHECK(window.what == command::gui);
    CHECK(window.gui.file == "a.wav");
    CHECK(window.gui.capture == "out.wav");
    CHECK(parse_command_line({"C:\\My music\\a.WAV"}).gui.file == "C:\\My music\\a.WAV"); // "open with"
}

TEST_CASE("command line: help fits on a screen, names every option and has examples")
{
    const std::pair<std::vector<std::string>, const char*> pages[] = {
        {{"--help"}, "--component FILE"},      {{"/?"}, "  configure  "},
        {{"help", "render"}, "--layout NAME"}, {{"render", "-h"}, "--seek S"},
        {{"scan", "--help"}, "DIR..."},        {{"configure", "--help"}, "--preset FILE"},
        {{"preset", "--help"}, "--show FILE"}, {{"settings", "--help"}, "NAME[=VALUE]..."},
        {{"services", "--help"}, "--json"},    {{"gui", "--help"}, "--capture FILE.wav"}};
    for (const auto& each : pages) {
        CAPTURE(each.second);
        const std::string page = parse_command_line(each.first).help_text;
        CHECK(page.find(each.second) != std::string::npos);
        CHECK(page.find("Examples:\n  qvxplayer ") != std::string::npos);
        size_t lines = 0, begin = 0;
        for (size_t end; (end = page.find('\n', begin)) != std::string::npos; begin = end + 1, ++lines)
            CHECK(end - begin < 80);
        CHECK(lines <= 30);
    }
}

TEST_CASE("command line: mistakes are named, with the nearest thing that would be right")
{
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{"gui", "a.wav", "b.wav"}, "unexpected argument \"b.wav\""},
        {{"RENDR"}, "unknown command RENDR; did you mean render?"},
        {{"scna"}, "unknown command scna; did you mean scan?"},
        {{"help", "rendr"}, "unknown command rendr; did you mean render?"},
        {{"a.mp3"}, "\"a.mp3\" is neither a command nor a WAV file"},
        {{"a.wav", "b.wav"}, "unexpected argument \"b.wav\"; the window opens one file"},
        {{"render", "a", ""}, "an empty text was given as IN.wav... OUT.wav; put a name there"},
        {{"render", "a", "b", "--effect", ""}, "an empty text was given as MODULE of --effect"},
        {{"render", "a", "b", "--json=x"}, "--json takes no value"},
        {{"services", "--config", "a", "--config", "b"}, "--config was given more than once"},
        {{"render", "a", "b", "--efect", "x"}, "unknown option --efect; did you mean --effect?"},
        {{"render", "a", "b", "--stat=x"}, "unknown option --stat; did you mean --state?"},
        {{"render", "a", "b", "--bogus"}, "unknown option --bogus; --help"},
        {{"services", "--quite"}, "did you mean --quiet?"},
        {{"services", "x"}, "unexpected argument \"x\""},
        {{"configure"}, "configure needs an effect or a preset"},
        {{"configure", "--preset", "p", "--float64"}, "--float64 belongs to an effect"},
        {{"configure", "--effect", "m", "--effect", "n"}, "give --effect once"},
        {{"render", "a.wav"}, "needs an input and an output"},
        {{"render", "a", "b", "--state", "s"}, "--state belongs to an effect"},
        {{"render", "a", "b", "--preset", "p", "--float64"}, "--float64 belongs to an effect"},
        {{"render", "a", "b", "--effect", "m", "--state", "s", "--state", "t"},
         "--state was given twice for m"},
        {{"render", "a", "b", "--effect", "m", "--layout", "stereoo"},
         "\"stereoo\" is none; did you mean stereo?"},
        {{"render", "a", "b", "--effect"}, "--effect needs a value: --effect MODULE"},
        {{"render", "a", "b", "--frames", "many"},
         "--frames takes a number of frames from 1 to 1048576; \"many\" is none"},
        {{"render", "a", "b", "--seek", "-1"}, "--seek takes a number of seconds from 0 on; \"-1\" is none"},
        {{"render", "a", "b", "--seek", "nan"}, "--seek"},
        {{"preset", "m"}, "preset needs a module and an output"},
        {{"preset", "--show", "f", "m"}, "exclude each other"},
        {{"render", "a", "b", "--tail=3"}, "--tail takes no value"},
        {{"render", "a", "b", "--tail", "on"}, "--tail takes no value"},
        {{"render", "a", "b", "--capture", "c"}, "unknown option --capture; it belongs to gui"},
        {{"services", "--vst"}, "unknown option --vst; --help"},
        {{"preset", "--show", "f", "--float64"}, "no meaning with --show"},
    };
    for (const auto& each : rows) {
        CAPTURE(each.second);
        const std::string text = refusal(each.first);
        CAPTURE(text);
        CHECK(text.find(each.second) != std::string::npos);
        CHECK(text.find('\n') == std::string::npos);
    }
}
