#pragma once
#include "catalogue/background_scan.h"
#include "ui/toolkit/dialog_window.h"
#include "ui/toolkit/list_control.h"
#include "ui/vis_setup_model.h"

#include <functional>

// Asks for the effect to visualise with, and starts it. Modeless; any number may be open, each with a scan of
// its own; owned by its window. Main thread.
class CDialogVisSetup final : public toolkit::dialog_window {
public:
    // Starts a visualisation; what it throws is shown, and the dialog stays.
    using start_t = std::function<void(const vstConfig_t&)>;

    // Throws exception_win32 when no window can be made, and as background_scan::begin.
    static void open(start_t start);
    // All that are open, for a player that quits.
    static void close_all() noexcept;

private:
    explicit CDialogVisSetup(start_t start);
    ~CDialogVisSetup() override = default;

    void on_init() override;
    void on_command(int id, int code, HWND control) override;
    bool on_notify(NMHDR& header) override { return list_.on_notify(header); }
    void on_close() override { destroy(); }
    void on_destroy() override { scan_.cancel(); }
    void on_gone() noexcept override;
    std::shared_ptr<const void> keep_alive() noexcept override;

    void start(std::optional<size_t> row);

    const start_t start_;
    vis_setup_model model_;
    toolkit::list_control list_;
    background_scan scan_;
};
