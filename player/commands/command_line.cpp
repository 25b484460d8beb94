#include "player/commands/command_line.h"

#include "player/commands/command_help.h"
#include "player/system/player_error.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <set>

namespace player {

namespace {

constexpr uint32_t max_chunk_frames = 1 << 20;

struct layout {
    const char* name;
    uint32_t mask;
};
constexpr layout layouts[] = {{"mono", 0x4},         {"stereo", 0x3}, {"2.1", 0xB},  {"3.0", 0x7},
                              {"4.0", 0x33},         {"4.1", 0x3B},   {"5.0", 0x37}, {"5.1", 0x3F},
                              {"5.1 (side)", 0x60F}, {"7.1", 0x63F}};

bool is_wav_name(const std::string& file)
{
    const std::string ending = file.size() > 4 ? file.substr(file.size() - 4) : "";
    return CLI::detail::to_lower(ending) == ".wav";
}

uint32_t checked_layout(const std::string& name)
{
    std::string listed;
    std::vector<std::string> names;
    for (const layout& known : layouts) {
        if (name == known.name)
            return known.mask;
        listed += std::string(listed.empty() ? "" : ", ") + '"' + known.name + '"';
        names.emplace_back(known.name);
    }
    throw usage_error("--layout takes one of " + listed + "; \"" + name + "\" is none" +
                      suggest(name, names, ""));
}

// The parser and what its options fill. The options of one effect are repeated, so their order counts: it is
// taken from the parser's record of the order in which options came.
class parser {
public:
    parser()
    {
        app_.allow_windows_style_options(false); // "/" begins a path
        app_.allow_extras();
        app_.require_subcommand(0, 1);
        app_.add_option("--component", line_.component,
                        "the component (default: qvx_dsp_vst3.dll beside the player)")
            ->type_name("FILE");
        app_.add_option("--config", line_.config, "the settings (default: %APPDATA%\\qvxplayer\\config.json)")
            ->type_name("FILE");
        app_.add_flag("--quiet", line_.quiet, "no console lines of the component, no progress");
        app_.add_flag("--version", version_, "print the version");

        add_render();
        add_presets();
        add_rest();
        for (CLI::App* sub : {render_, scan_, configure_, preset_, settings_, services_})
            sub->add_flag("--json", line_.json, "print one JSON value");
    }

    command_line parse(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend()); // as the library wants them
        // As people ask for it elsewhere: "/?", "help", "help render".
        if (!arguments.empty() && (arguments[0] == "/?" || arguments[0] == "-?" || arguments[0] == "help")) {
            reversed.pop_back();
            reversed.insert(reversed.begin(), "--help");
        }
        try {
            app_.parse(reversed);
        } catch (const CLI::CallForHelp&) {
            const auto selected = app_.get_subcommands();
            if (selected.empty() && !take_lonely_file())
                check_extras(); // help about what there is not
            line_.help_text = help_page(app_, selected.empty() ? app_ : *selected.front());
            return line_;
        } catch (const CLI::ParseError& error) {
            throw usage_error(explain_mistake(app_, error));
        }
        check_values();
        check_flags(arguments);
        if (!take_lonely_file())
            check_extras();
        if (version_)
            line_.what = command::version;
        else if (render_->parsed())
            finish_render();
        else if (preset_->parsed())
            finish_preset();
        else if (configure_->parsed())
            finish_configure();
        else if (scan_->parsed())
            line_.what = command::scan;
        else if (services_->parsed())
            line_.what = command::services;
        else if (settings_->parsed())
            line_.what = command::settings;
        else
            line_.what = command::gui;
        return line_;
    }

private:
    struct effect_option_set {
        std::vector<std::string> states, layouts;
        bool float64_given = false; // whose it is, the order says
        CLI::Option* state = nullptr;
        CLI::Option* layout = nullptr;
        CLI::Option* float64 = nullptr;
    };

    // In the order in which they are added the commands stand on the help page.
    void add_render()
    {
        render_ = add("render", "Run WAV files through a chain of effects.");
        render_->add_option("files", files_, "what to play, as one stream, and where it goes")
            ->type_name("IN.wav... OUT.wav");
        effect_ = add_repeatable(*render_, "--effect", modules_, "MODULE",
                                 "add an effect to the chain: a module file or a bundle folder");
        add_effect_options(*render_, render_effect_);
        preset_file_ = add_repeatable(*render_, "--preset", preset_files_, "FILE",
                                      "add an effect from a file that preset or configure wrote");
        render_
            ->add_option("--frames", line_.render.frames,
                         "a number of frames from 1 to 1048576: the size of a chunk (default 4096)")
            ->type_name("N");
        seek_ = render_
                    ->add_option("--seek", line_.render.seek,
                                 "a number of seconds from 0 on: go on there after the first chunk")
                    ->type_name("S");
        render_->add_flag("--tail", line_.render.tail, "also what rings on after the end");
        render_->add_flag("--realtime", line_.render.realtime, "tell the effects that this is playback");
    }
    void add_presets()
    {
        scan_ = add("scan", "List the effects in folders, without loading any.");
        scan_
            ->add_option("folders", line_.scan_folders,
                         "where to look, with all folders below (default: those of the settings and the "
                         "system's)")
            ->type_name("DIR...");

        configure_ = add("configure", "Edit an effect in the component's dialog; keep a preset.");
        configure_effect_ = add_repeatable(*configure_, "--effect", modules_, "MODULE",
                                           "the effect to begin with (default: that of --preset)");
        configure_->add_option("--preset", line_.configure.preset_file, "the preset to read and write back")
            ->type_name("FILE");
        add_effect_options(*configure_, configure_options_);

        preset_ = add("preset", "Write an effect's preset to a file, or print one.");
        preset_->add_option("files", files_, "the effect, and the file to write")->type_name("MODULE OUT");
        preset_->add_option("--show", line_.preset.show, "print this preset")->type_name("FILE");
        add_effect_options(*preset_, preset_effect_);
    }
    void add_rest()
    {
        settings_ = add("settings", "Show or change the component's settings.");
        settings_
            ->add_option("settings", line_.settings,
                         "dpi-aware, feed-live, process-tail (on or off), folders, disabled-folders (paths "
                         "with ; between)")
            ->type_name("NAME[=VALUE]...");
        services_ = add("services", "List what the component registers with the player.");

        gui_ = app_.add_subcommand("gui", "Open the window: play, and edit the chain meanwhile.");
        gui_->fallthrough();
        gui_->add_option("file", line_.gui.file, "the file to open (default: the last one)")
            ->type_name("FILE.wav");
        gui_->add_option("--capture", line_.gui.capture, "also write what is heard into this file")
            ->type_name("FILE.wav");
    }
    CLI::App* add(const char* name, const char* description)
    {
        CLI::App* sub = app_.add_subcommand(name, description);
        sub->fallthrough(); // the player's own options may stand behind the command
        return sub;
    }
    // Takes one value each time it is given.
    static CLI::Option* add_repeatable(CLI::App& sub, const char* name, std::vector<std::string>& values,
                                       const char* type, const char* description)
    {
        return sub.add_option(name, values, description)->allow_extra_args(false)->type_name(type);
    }
    static void add_effect_options(CLI::App& sub, effect_option_set& options)
    {
        options.state =
            add_repeatable(sub, "--state", options.states, "FILE", "that effect's state, from a file");
        options.layout =
            add_repeatable(sub, "--layout", options.layouts, "NAME",
                           "what that effect puts out: mono, stereo, 2.1, 3.0, 4.0, 4.1, 5.0, 5.1, "
                           "\"5.1 (side)\", 7.1");
        options.float64 = sub.add_flag("--float64", options.float64_given,
                                       "64-bit floating point for it, where it takes that");
    }

    // Applies an option of an effect; `taken` counts the values used so far. False when it is none.
    struct taken_values {
        size_t states = 0, layouts = 0;
    };
    static bool apply(const CLI::Option* option, const effect_option_set& options, taken_values& taken,
                      effect_options* effect)
    {
        if (option != options.state && option != options.layout && option != options.float64)
            return false;
        if (!effect)
            throw usage_error(option->get_name() +
                              " belongs to an effect; put it after the --effect that it is for");
        if (option == options.float64) {
            effect->float64 = true;
        } else if (option == options.state) {
            if (effect->state_file)
                throw usage_error("--state was given twice for " + effect->module + "; give it once");
            effect->state_file = options.states.at(taken.states++);
        } else {
            if (effect->output_mask)
                throw usage_error("--layout was given twice for " + effect->module + "; give it once");
            effect->output_mask = checked_layout(options.layouts.at(taken.layouts++));
        }
        return true;
    }

    void finish_render()
    {
        line_.what = command::render;
        if (files_.size() < 2)
            throw usage_error("render needs an input and an output file: render IN.wav OUT.wav");
        line_.render.output = files_.back();
        line_.render.inputs.assign(files_.begin(), files_.end() - 1);
        if (line_.render.frames < 1 || line_.render.frames > max_chunk_frames)
            throw usage_error("--frames takes a number of frames from 1 to " +
                              std::to_string(max_chunk_frames) + "; \"" +
                              std::to_string(line_.render.frames) + "\" is none");
        if (line_.render.seek && !(std::isfinite(*line_.render.seek) && *line_.render.seek >= 0))
            throw usage_error("--seek takes a number of seconds from 0 on; \"" + seek_->results().back() +
                              "\" is none");
        taken_values taken;
        size_t modules = 0, presets = 0;
        effect_options* current = nullptr;
        for (const CLI::Option* option : render_->parse_order()) {
            if (option == effect_) {
                line_.render.chain.emplace_back().effect.module = modules_.at(modules++);
                current = &line_.render.chain.back().effect;
            } else if (option == preset_file_) {
                line_.render.chain.emplace_back().preset_file = preset_files_.at(presets++);
                current = nullptr;
            } else {
                apply(option, render_effect_, taken, current);
            }
        }
    }

    void finish_preset()
    {
        line_.what = command::preset;
        const bool shows = !line_.preset.show.empty();
        if (shows && !files_.empty())
            throw usage_error("MODULE OUT and --show FILE exclude each other; leave one of them out");
        if (!shows && files_.size() != 2)
            throw usage_error("preset needs a module and an output file (preset MODULE OUT), or --show FILE");
        if (!shows) {
            line_.preset.effect.module = files_[0];
            line_.preset.output = files_[1];
        }
        taken_values taken;
        for (const CLI::Option* option : preset_->parse_order()) {
            if (apply(option, preset_effect_, taken, &line_.preset.effect) && shows)
                throw usage_error(option->get_name() + " has no meaning with --show; leave it out");
        }
    }

    void finish_configure()
    {
        line_.what = command::configure;
        if (modules_.empty() && line_.configure.preset_file.empty())
            throw usage_error(
                "configure needs an effect or a preset: --effect MODULE, --preset FILE, or both");
        if (modules_.size() > 1)
            throw usage_error("configure takes one effect; give --effect once");
        taken_values taken;
        for (const CLI::Option* option : configure_->parse_order()) {
            if (option == configure_effect_)
                line_.configure.effect.module = modules_.front();
            else
                apply(option, configure_options_, taken,
                      line_.configure.effect.module.empty() ? nullptr : &line_.configure.effect);
        }
    }

    // A file without a command: "open with", or dropped on the program.
    bool take_lonely_file()
    {
        const std::vector<std::string> extras = app_.remaining(true);
        if (extras.size() != 1 || !app_.get_subcommands().empty() || !is_wav_name(extras.front()))
            return false;
        line_.gui.file = extras.front();
        return true;
    }

    // No file, folder or setting has an empty name; scripts with a variable that is not set give one. A flag
    // is given or not.
    void check_values()
    {
        std::vector<const CLI::App*> apps{&app_};
        for (const CLI::App* sub : app_.get_subcommands())
            apps.push_back(sub);
        for (const CLI::App* app : apps) {
            for (const CLI::Option* option : app->get_options()) {
                const auto given = option->results();
                if (std::find(given.begin(), given.end(), std::string()) != given.end())
                    throw usage_error("an empty text was given as " + option->get_type_name() +
                                      (option->get_positional() ? "" : " of " + option->get_name()) +
                                      "; put a name there");
                // The parser itself would take numbers and words like "off".
                if (is_flag(*option) &&
                    std::ranges::any_of(given, [](const auto& text) { return text != "true"; }))
                    throw usage_error(option->get_name() + " takes no value; leave the value out");
            }
        }
    }

    // "--tail on" would make "on" the output, and the output before it an input.
    void check_flags(const std::vector<std::string>& arguments) const
    {
        static const std::set<std::string> values{"on", "off", "yes", "no", "true", "false", "0", "1"};
        for (size_t i = 0; i + 1 < arguments.size(); ++i) {
            const CLI::Option* option = app_.get_option_no_throw(arguments[i]);
            for (const CLI::App* sub : app_.get_subcommands())
                option = option ? option : sub->get_option_no_throw(arguments[i]);
            if (option && is_flag(*option) && values.contains(CLI::detail::to_lower(arguments[i + 1])))
                throw usage_error(option->get_name() + " takes no value; leave the value out");
        }
    }

    // What the parser could not place: unknown options, unknown commands, arguments too many.
    void check_extras()
    {
        const std::vector<std::string> extras = app_.remaining(true);
        if (extras.empty())
            return;
        const auto selected = app_.get_subcommands();
        const auto option = std::find_if(extras.begin(), extras.end(), [](const std::string& text) {
            return text.starts_with("-") && text != "--";
        });
        if (option != extras.end()) {
            std::vector<std::string> names;
            collect_options(app_, names);
            for (const CLI::App* sub : selected)
                collect_options(*sub, names);
            const std::string given = option->substr(0, option->find('='));
            std::string owners;
            for (const CLI::App* sub : app_.get_subcommands({})) {
                if (sub->get_option_no_throw(given))
                    owners += (owners.empty() ? "" : ", ") + sub->get_name();
            }
            throw usage_error("unknown option " + given +
                              (owners.empty() ? suggest(given, names) : "; it belongs to " + owners));
        }
        if (!selected.empty())
            throw usage_error("unexpected argument \"" + extras.front() + "\"; " +
                              selected.front()->get_name() + " --help says what it takes");
        const std::string& first = extras.front();
        if (is_wav_name(first))
            throw usage_error("unexpected argument \"" + extras[1] + "\"; the window opens one file");
        if (first.find_first_of(".\\/") != std::string::npos)
            throw usage_error("\"" + first +
                              "\" is neither a command nor a WAV file; --help lists the commands");
        std::vector<std::string> names;
        for (const CLI::App* sub : app_.get_subcommands({}))
            names.push_back(sub->get_name());
        throw usage_error("unknown command " + extras.front() + suggest(extras.front(), names));
    }
    static void collect_options(const CLI::App& app, std::vector<std::string>& names)
    {
        for (const CLI::Option* option : app.get_options()) {
            for (const std::string& name : option->get_lnames())
                names.push_back("--" + name);
        }
    }

    CLI::App app_{"qvxplayer " QVX_VERSION ": plays WAV files through VST effects.", "qvxplayer"};
    command_line line_;
    bool version_ = false;
    std::vector<std::string> files_, modules_, preset_files_;
    CLI::App *render_ = nullptr, *scan_ = nullptr, *preset_ = nullptr, *services_ = nullptr,
             *settings_ = nullptr, *configure_ = nullptr, *gui_ = nullptr;
    CLI::Option *configure_effect_ = nullptr, *effect_ = nullptr, *preset_file_ = nullptr, *seek_ = nullptr;
    effect_option_set render_effect_, preset_effect_, configure_options_;
};

} // namespace

std::string layout_name(uint32_t mask)
{
    for (const layout& known : layouts) {
        if (mask == known.mask)
            return known.name;
    }
    return {};
}

command_line parse_command_line(const std::vector<std::string>& arguments)
{
    return parser().parse(arguments);
}

} // namespace player
