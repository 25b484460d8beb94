// The chooser without its window: a script of events, and after each one what was asked of the dialog and
// what it shows.

#include "ui/channel_layout.h"
#include "ui/chooser_model.h"

#include "support/presets.h"

#include <doctest/doctest.h>

#include <functional>
#include <utility>

namespace {

vstConfig_t effect(const std::string& path, const std::string& state = "", int32_t version = 3)
{
    vstConfig_t made{path, path, "x64", version};
    made.state.assign(state.begin(), state.end());
    return made;
}

vstConfig_t with(vstConfig_t base, uint32_t flags, uint32_t mask)
{
    base.flags = flags;
    base.outputChannelMask = mask;
    return base;
}

dsp_preset_impl preset_of(const char* bytes, const guid_t& owner = vstPresetOwner)
{
    dsp_preset_impl preset;
    preset.set_owner(owner);
    preset.set_data(bytes, std::string(bytes).size());
    return preset;
}

// Records what is asked, as words: "start A=state", "stop", "push A=state/flags/mask" or "push -", "scan".
struct recorder final : chooser_actions {
    void start_run(const vstConfig_t& started) override
    {
        CHECK(!active);
        note("start " + text(started));
        active = true;
        running = started;
    }
    void stop_run() override
    {
        const bool was = std::exchange(active, false);
        if (was && last_state && model) {
            running.state.assign(last_state->begin(), last_state->end());
            last_state.reset();
            model->state_read(running);
        }
    }
    bool is_run_active() override { return active; }
    void push(const dsp_preset& preset) override
    {
        CHECK(preset.get_owner() == vstPresetOwner);
        note("push " + (preset.get_data_size() ? text(vstConfigFromPreset(preset)) : "-"));
        if (while_pushing)
            while_pushing();
    }
    bool begin_scan() override
    {
        note("scan");
        return can_scan;
    }
    static std::string text(const vstConfig_t& config)
    {
        return config.path + "=" + std::string(config.state.begin(), config.state.end()) + "/" +
               std::to_string(config.flags) + "/" + std::to_string(config.outputChannelMask);
    }
    void note(const std::string& what) { log += (log.empty() ? "" : ", ") + what; }

    chooser_model* model = nullptr;
    std::string log;
    bool active = false, can_scan = true;
    vstConfig_t running;
    std::optional<std::string> last_state; // what the run's end brings
    std::function<void()> while_pushing;
};

// "[rows] effect channels format flags status": e for an enabled list, c for channels, p for presets; what is
// not enabled is "-".
std::string shown(const chooser_view& view)
{
    std::string text = "[";
    for (const std::string& row : view.effects)
        text += row.substr(0, row.find(' ')) + (row.find("v2") == std::string::npos ? "" : "2") + " ";
    if (text.ends_with(' '))
        text.pop_back();
    text += "] " + std::to_string(view.effect) + " " + std::to_string(view.channels) + " " +
            std::to_string(view.format) + " ";
    text += view.effects_enabled ? "e" : "-";
    text += view.channels_enabled ? "c" : "-";
    text += view.presets_enabled ? "p" : "-";
    return text + (view.status ? " " + view.status->substr(0, view.status->find(' ')) : "");
}

struct step {
    const char* what;
    std::function<void(chooser_model&, recorder&)> act;
    const char* log;
    const char* shown;
};

void play(const std::vector<step>& steps)
{
    recorder actions;
    chooser_model model(actions);
    actions.model = &model;
    for (const step& one : steps) {
        CAPTURE(one.what);
        actions.log.clear();
        one.act(model, actions);
        CHECK(actions.log == one.log);
        CHECK(shown(model.view()) == one.shown);
    }
}

using model_t = chooser_model;
using rec = recorder;

} // namespace

TEST_CASE("chooser: without an effect, then picking one and what may be set for it")
{
    play({
        {"open with none", [](model_t& m, rec&) { m.open(preset_of("")); }, "scan",
         "[] -1 0 -1 --- Searching"},
        {"format without an effect", [](model_t& m, rec&) { m.choose_format(1); }, "",
         "[] -1 0 1 --- Searching"},
        {"nothing is found", [](model_t& m, rec&) { m.scan_ended({}); }, "", "[] -1 0 1 --- No"},
        {"folders changed", [](model_t& m, rec&) { m.begin_scan(); }, "scan", "[] -1 0 1 --- Searching"},
        {"found",
         [](model_t& m, rec&) {
             m.scan_ended({effect("A"), effect("B", "", 2)});
         },
         "", "[A B2] -1 0 1 e--"},
        {"load without an effect", [](model_t& m, rec&) { m.load_state("A", {1}); }, "", "[A B2] -1 0 1 e--"},
        {"pick A", [](model_t& m, rec&) { m.choose_effect(0); }, "start A=/0/0, push A=/0/0",
         "[A B2] 0 0 0 ecp A"},
        {"pick A again", [](model_t& m, rec&) { m.choose_effect(0); }, "", "[A B2] 0 0 0 ecp A"},
        {"its state", [](model_t& m, rec&) { m.state_read(effect("A", "s")); }, "push A=s/0/0",
         "[A B2] 0 0 0 ecp A"},
        {"the same state", [](model_t& m, rec&) { m.state_read(effect("A", "s")); }, "",
         "[A B2] 0 0 0 ecp A"},
        {"another's state", [](model_t& m, rec&) { m.state_read(effect("B", "x")); }, "",
         "[A B2] 0 0 0 ecp A"},
        {"64 bit", [](model_t& m, rec&) { m.choose_format(1); }, "push A=s/2/0", "[A B2] 0 0 1 ecp A"},
        {"64 bit again", [](model_t& m, rec&) { m.choose_format(1); }, "push A=s/2/0", "[A B2] 0 0 1 ecp A"},
        {"no format", [](model_t& m, rec&) { m.choose_format(-1); }, "push A=s/0/0", "[A B2] 0 0 -1 ecp A"},
        {"5.1 (side)", [](model_t& m, rec&) { m.choose_channels(9); }, "push A=s/0/1551",
         "[A B2] 0 9 -1 ecp A"},
        {"no layout", [](model_t& m, rec&) { m.choose_channels(11); }, "", "[A B2] 0 11 -1 ecp A"},
        {"editor closed", [](model_t& m, rec& r) { r.active = false, m.run_ended(); }, "",
         "[A B2] 0 11 -1 ecp"},
        {"pick the same", [](model_t& m, rec&) { m.choose_effect(0); }, "", "[A B2] 0 11 -1 ecp"},
        {"pick B, which has no presets", [](model_t& m, rec&) { m.choose_effect(1); },
         "start B=/0/0, push B=/0/0", "[A B2] 1 0 0 ec- A"},
        {"the old one's last state", [](model_t& m, rec& r) { r.last_state = "t", m.choose_effect(0); },
         "start A=s/0/1551, push A=s/0/1551", "[A B2] 0 9 0 ecp A"},
        {"load", [](model_t& m, rec& r) { r.last_state = "u", m.load_state("A", {'n'}); },
         "push A=u/0/1551, start A=n/0/1551, push A=n/0/1551", "[A B2] 0 9 0 ecp A"},
        {"load for another", [](model_t& m, rec&) { m.load_state("B", {'n'}); }, "", "[A B2] 0 9 0 ecp A"},
        {"close", [](model_t& m, rec& r) { r.last_state = "z", m.close(); }, "push A=z/0/1551",
         "[A B2] 0 9 0 ecp A"},
        {"after that nothing",
         [](model_t& m, rec&) {
             m.choose_effect(1);
             m.choose_format(1);
             m.choose_channels(1);
             m.load_state("A", {});
             m.begin_scan();
             m.scan_ended({});
         },
         "", "[A B2] 0 1 1 ecp A"},
    });
}

TEST_CASE("chooser: a preset's effect through scans")
{
    const vstConfig_t a = with(effect("A", "s"), 6, 0x3F);
    const auto open = [&](model_t& m, rec&) { m.open(preset_of(a)); };
    const char* opened = "start A=s/6/63, scan";
    play({
        {"open", open, opened, "[] -1 8 1 -cp Searching"},
        {"edited meanwhile", [](model_t& m, rec&) { m.state_read(effect("A", "t")), m.choose_format(0); },
         "push A=t/6/63, push A=t/4/63", "[] -1 8 0 -cp Searching"},
        {"found once, and again",
         [](model_t& m, rec&) {
             m.scan_ended({effect("B"), effect("A"), effect("A")});
         },
         "", "[B A A] 1 8 0 ecp A"},
        {"another of the same path", [](model_t& m, rec& r) { r.last_state = "new", m.choose_effect(2); },
         // The old run's last state goes to who is chosen now and has its path.
         "push A=new/0/0, start A=new/0/0, push A=new/0/0", "[B A A] 2 0 0 ecp A"},
        {"picked another", [](model_t& m, rec&) { m.choose_effect(1), m.state_read(effect("A", "w")); },
         "start A=t/4/63, push A=t/4/63, push A=w/4/63", "[B A A] 1 8 0 ecp A"},
        {"rescan", [](model_t& m, rec&) { m.begin_scan(); }, "scan", "[] -1 8 0 -cp Searching"},
        {"editor closed while searching", [](model_t& m, rec& r) { r.active = false, m.run_ended(); }, "",
         "[] -1 8 0 -cp"},
        {"gone from the disk", [](model_t& m, rec&) { m.scan_ended({effect("B")}); }, "", "[B A] 1 8 0 ecp"},
        {"and all others", [](model_t& m, rec&) { m.begin_scan(), m.scan_ended({}); }, "scan",
         "[A] 0 8 0 ecp"},
        {"no scan to be had", [](model_t& m, rec& r) { r.can_scan = false, m.begin_scan(); }, "scan",
         "[A] 0 8 0 ecp"},
        {"kept", [](model_t& m, rec&) { m.choose_format(0); }, "push A=w/4/63", "[A] 0 8 0 ecp"},
    });
    play({{"unknown mask", [&](model_t& m, rec&) { m.open(preset_of(with(a, 0, 0x30))); },
           "start A=s/0/48, scan", "[] -1 0 0 -cp Searching"},
          {"is overridden", [](model_t& m, rec&) { m.choose_channels(0); }, "push A=s/0/0",
           "[] -1 0 0 -cp Searching"}});
    for (const auto& broken : {preset_of("QVXjunk"), preset_of("x"), preset_of("", {1, 2, 3, {}})})
        play({{"broken", [&](model_t& m, rec&) { m.open(broken); }, "scan", "[] -1 0 -1 --- Searching"}});
}

TEST_CASE("chooser: the player closes the dialog from inside a push")
{
    const std::pair<std::function<void(model_t&, rec&)>, const char*> rows[] = {
        {[](model_t& m, rec&) { m.choose_effect(1); }, "start B=/0/0, push B=/0/0"},
        {[](model_t& m, rec& r) { r.last_state = "l", m.load_state("A", {'n'}); },
         "push A=l/0/0"}, // nothing is loaded
        {[](model_t& m, rec&) { m.state_read(effect("A", "t")); }, "push A=t/0/0"},
    };
    for (const auto& [act, log] : rows) {
        rec actions;
        model_t model(actions);
        actions.model = &model;
        model.open(preset_of(effect("A", "s")));
        model.scan_ended({effect("A"), effect("B")});
        actions.log.clear();
        actions.while_pushing = [&] { actions.while_pushing = nullptr, model.close(); };
        act(model, actions);
        CHECK(actions.log == log);
        CHECK(!actions.active);
    }
}

TEST_CASE("chooser: what layouts are called")
{
    CHECK(channelMaskText(0x30) == "stereo (rear)");
    CHECK(channelMaskText(0x70F) == "6.1 (side)");
    CHECK(channelMaskText(0x80020005) == "FL FC TBR ?");
    CHECK(channelMaskText(0x540) == "FCL BC SR");
}
