#include "player/command_line.h"

#include "player/player_error.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>

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

// How many letters have to be added, removed or changed.
size_t edit_distance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row[b.size()];
}

std::string suggestion(const std::string& wrong, const std::vector<std::string>& candidates)
{
    const std::string* nearest = nullptr;
    size_t nearest_distance = wrong.size() / 2 + 1; // from there on it is another word
    for (const std::string& candidate : candidates) {
        const size_t distance = edit_distance(wrong, candidate);
        if (distance < nearest_distance) {
            nearest = &candidate;
            nearest_distance = distance;
        }
    }
    return nearest ? "; did you mean " + *nearest + "?" : "; --help lists what there is";
}

uint32_t checked_layout(const std::string& name)
{
    if (const uint32_t mask = layout_mask(name))
        return mask;
    std::string names;
    for (const layout& known : layouts)
        names += std::string(names.empty() ? "" : ", ") + '"' + known.name + '"';
    throw usage_error("unknown layout \"" + name + "\"; use one of " + names);
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
                        "the component to load (default: qvx_dsp_vst3.dll beside the player)");
        app_.add_option("--config", line_.config,
                        "the configuration file (default: in the user's application data)");
        app_.add_flag("--quiet", line_.quiet, "drop the component's console lines and the progress bar");
        app_.add_flag("--version", version_, "print the version");

        render_ = add("render", "run WAV files through a chain of effects: IN.wav [IN2.wav...] OUT.wav");
        render_->add_option("files", files_, "input files, then the output file")
            ->option_text("IN.wav... OUT.wav");
        effect_ = render_->add_option("--effect", modules_,
                                      "add an effect: a module file or a VST 3 bundle folder");
        effect_->allow_extra_args(false);
        preset_file_ =
            render_->add_option("--preset", preset_files_, "add an effect from a file of preset bytes");
        preset_file_->allow_extra_args(false);
        add_effect_options(*render_, render_effect_);
        render_->add_option("--frames", line_.render.frames, "chunk size in frames (default 4096)")
            ->check(CLI::Range(1u, max_chunk_frames));
        render_->add_option("--seek", line_.render.seek, "after the first chunk, go on at this many seconds");
        render_->add_flag("--tail", line_.render.tail, "collect what rings on after the end");
        render_->add_flag("--realtime", line_.render.realtime, "tell the effects that this is playback");

        scan_ =
            add("scan", "list the effects that lie in the given folders, or else in those of the settings "
                        "and the system's");
        scan_->add_option("folders", line_.scan_folders, "folders to look in, with all below them")
            ->option_text("DIR...");

        preset_ = add("preset", "write preset bytes (MODULE OUT) or print them (--show FILE)");
        preset_->add_option("files", files_, "the module, then the output file")->option_text("MODULE OUT");
        preset_->add_option("--show", line_.preset.show, "print a file of preset bytes");
        add_effect_options(*preset_, preset_effect_);

        configure_ =
            add("configure", "open the component's dialog on an effect, on a file of preset bytes, or on an "
                             "effect whose preset goes into the file");
        configure_effect_ = configure_->add_option("--effect", modules_, "the effect to begin with");
        configure_effect_->allow_extra_args(false);
        configure_->add_option("--preset", line_.configure.preset_file, "the file to read and write back");
        add_effect_options(*configure_, configure_options_);

        services_ = add("services", "list the services of the component");
        settings_ = add("settings", "show or change the component's settings");
        settings_
            ->add_option("settings", line_.settings,
                         "dpi-aware, feed-live, process-tail (on, off), folders, "
                         "disabled-folders (paths with ; between them)")
            ->option_text("NAME[=VALUE]...");

        gui_ = app_.add_subcommand("gui", "open the window; so does no command at all");
        gui_->fallthrough();
        gui_->add_option("file", line_.gui.file, "the file to open (default: the last one)")
            ->option_text("FILE.wav");
        gui_->add_option("--capture", line_.gui.capture, "also write what is heard into this WAV file");
    }

    command_line parse(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend()); // as the library wants them
        try {
            app_.parse(reversed);
        } catch (const CLI::CallForHelp&) {
            line_.help_text = app_.help();
            return line_;
        } catch (const CLI::ParseError& error) {
            throw usage_error(error.what());
        }
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

    CLI::App* add(const char* name, const char* description)
    {
        CLI::App* sub = app_.add_subcommand(name, description);
        sub->fallthrough(); // the player's own options may stand behind the command
        sub->add_flag("--json", line_.json, "print one JSON value");
        return sub;
    }
    static void add_effect_options(CLI::App& sub, effect_option_set& options)
    {
        options.state = sub.add_option("--state", options.states, "the effect's state, from a file");
        options.state->allow_extra_args(false);
        options.layout = sub.add_option("--layout", options.layouts,
                                        "the effect's output layout: mono, stereo, 2.1, "
                                        "3.0, 4.0, 4.1, 5.0, 5.1, \"5.1 (side)\", 7.1");
        options.layout->allow_extra_args(false);
        options.float64 = sub.add_flag("--float64", options.float64_given,
                                       "process in 64-bit floating point; else only 32-bit PCM is");
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
        if (line_.render.seek && !(std::isfinite(*line_.render.seek) && *line_.render.seek >= 0))
            throw usage_error("--seek needs a number of seconds from 0 on");
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
        if (shows ? !files_.empty() : files_.size() != 2)
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
            throw usage_error("unknown option " + given + suggestion(given, names));
        }
        if (!selected.empty())
            throw usage_error("unexpected argument \"" + extras.front() + "\"; " +
                              selected.front()->get_name() + " --help says what it takes");
        std::vector<std::string> names;
        for (const CLI::App* sub : app_.get_subcommands({}))
            names.push_back(sub->get_name());
        throw usage_error("unknown command " + extras.front() + suggestion(extras.front(), names));
    }
    static void collect_options(const CLI::App& app, std::vector<std::string>& names)
    {
        for (const CLI::Option* option : app.get_options()) {
            for (const std::string& name : option->get_lnames())
                names.push_back("--" + name);
        }
    }

    CLI::App app_{"Plays WAV files through the DSP component of the player.", "qvxplayer"};
    command_line line_;
    bool version_ = false;
    std::vector<std::string> files_, modules_, preset_files_;
    CLI::App *render_ = nullptr, *scan_ = nullptr, *preset_ = nullptr, *services_ = nullptr,
             *settings_ = nullptr, *configure_ = nullptr, *gui_ = nullptr;
    CLI::Option *configure_effect_ = nullptr, *effect_ = nullptr, *preset_file_ = nullptr;
    effect_option_set render_effect_, preset_effect_, configure_options_;
};

} // namespace

uint32_t layout_mask(const std::string& name) noexcept
{
    for (const layout& known : layouts) {
        if (name == known.name)
            return known.mask;
    }
    return 0;
}

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
