#pragma once
// What the chooser shows, and what it makes of what the user, the scan and the configure run do. No windows;
// main thread.

#include "catalogue/vstConfig.h"
#include "sdk/dsp_preset_impl.h"

#include <optional>
#include <string>
#include <vector>

// What the model asks of its dialog. Pushing and stopping a run call the player's code, which may do anything
// to the dialog, closing it included: it says so by chooser_model::close, and the object stays until the call
// has returned.
class chooser_actions {
public:
    virtual void start_run(const vstConfig_t& effect) = 0; // after stop_run
    virtual void stop_run() = 0;                           // may bring a last chooser_model::state_read
    virtual bool is_run_active() = 0;
    virtual void push(const dsp_preset& preset) = 0; // to the player
    // Begins a scan, ending the one before; its result goes to chooser_model::scan_ended, later. False when
    // there is none to come.
    virtual bool begin_scan() = 0;

protected:
    ~chooser_actions() = default;
};

// The controls. An index is -1 where nothing is chosen.
struct chooser_view {
    std::vector<std::string> effects; // the list's rows
    bool effects_enabled = false;
    int effect = -1;
    std::optional<std::string> status; // hidden when empty
    int channels = -1;
    bool channels_enabled = true;
    int format = -1;
    bool presets_enabled = false; // Load and Save

    friend bool operator==(const chooser_view&, const chooser_view&) = default;
};

class chooser_model {
public:
    explicit chooser_model(chooser_actions& actions) // outlives this
        : actions_(actions)
    {
    }

    static std::vector<std::string> channel_choices();
    static std::vector<std::string> format_choices();

    const chooser_view& view() const noexcept { return view_; }
    // The chosen effect; null when there is none.
    const vstConfig_t* selected() const noexcept;

    // With the preset's effect; a preset that is broken or another component's counts as one without.
    // Starts the effect's run, then a scan.
    void open(const dsp_preset& preset);
    void begin_scan();
    void scan_ended(std::vector<vstConfig_t> found);

    // What the user chose in a control; -1 and indexes without an entry are bearable.
    void choose_effect(int index);
    void choose_channels(int index);
    void choose_format(int index);
    // A preset file of the effect with this path was read. Nothing happens when that is no more the chosen
    // one.
    void load_state(const std::string& path, std::vector<uint8_t> state);

    // Of the configure run.
    void state_read(const vstConfig_t& effect);
    void run_ended();

    // The window goes: ends the run, whose last state is still pushed. Nothing is begun from here on.
    void close();

private:
    vstConfig_t* chosen() noexcept;
    void show_effects(std::vector<vstConfig_t> found);
    void apply_selection();
    void push();

    chooser_actions& actions_;
    std::vector<vstConfig_t> effects_;
    size_t selected_ = SIZE_MAX; // into effects_; anything else: none
    vstConfig_t current_;        // to be kept through a scan; empty outside
    chooser_view view_;
    bool closed_ = false;
};
