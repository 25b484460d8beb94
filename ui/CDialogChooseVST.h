#pragma once
#include "catalogue/background_scan.h"
#include "sdk/dsp_preset_edit_callback.h"
#include "ui/CDialogConfigureVST.h"
#include "ui/chooser_model.h"
#include "ui/toolkit/dialog_window.h"

// The chooser: which effect, its output channels, data format and presets, with the effect's own editor open
// beside it. Every change goes to the callback at once. Main thread.
//
// What is pushed runs the player's code, which may destroy the window from inside; see dialog_window.
class CDialogChooseVST final : public toolkit::dialog_window,
                               public std::enable_shared_from_this<CDialogChooseVST>,
                               private chooser_actions {
public:
    // Modal: lives on its maker's stack, who then calls run(). The callback's dialog_done ends it by end().
    explicit CDialogChooseVST(service_ptr_t<dsp_preset_edit_callback_v2> callback);
    ~CDialogChooseVST() override;
    using dialog_window::end;
    using dialog_window::run;

    // Modeless: shown, and alive at least until its window is gone. Throws as dialog_window::create.
    static std::shared_ptr<CDialogChooseVST> open(HWND parent,
                                                  service_ptr_t<dsp_preset_edit_callback_v2> callback);
    // Ends the run, whose last state is still pushed, then destroys the window. The callback is not told that
    // the dialog is done.
    void close() noexcept;

    // All that are open, in the order they were opened: a fresh scan in each; close() of each.
    static void rescan_all() noexcept;
    static void close_all() noexcept;

private:
    void on_init() override;
    void on_command(int id, int code, HWND control) override;
    void on_close() override;
    void on_destroy() override;
    void on_gone() noexcept override;
    std::shared_ptr<const void> keep_alive() noexcept override { return weak_from_this().lock(); }

    void start_run(const vstConfig_t& effect) override;
    void stop_run() override { run_.stop(); }
    bool is_run_active() override { return run_.isRunning(); }
    void push(const dsp_preset& preset) override { callback_->set_preset(preset); }
    bool begin_scan() override;

    void scan_ended(std::vector<vstConfig_t> found);
    void load();
    void save();
    void show(); // makes the controls what the model says
    void show_choices(int id, const std::vector<std::string>& texts);

    const service_ptr_t<dsp_preset_edit_callback_v2> callback_;
    std::shared_ptr<CDialogChooseVST> self_; // of a modeless one, while it has a window
    bool done_ = false;                      // the callback was told
    chooser_model model_{*this};
    chooser_view shown_;
    background_scan scan_;
    CDialogConfigureVST run_;
};
