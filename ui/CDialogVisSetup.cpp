#include "ui/CDialogVisSetup.h"

#include "resources/dialog_ids.h"
#include "sdk/host_api.h"
#include "sdk/shell.h"
#include "worker/failureText.h"

#include <algorithm>

namespace {

std::vector<std::shared_ptr<CDialogVisSetup>>& open_dialogs() noexcept
{
    static std::vector<std::shared_ptr<CDialogVisSetup>> dialogs;
    return dialogs;
}

} // namespace

CDialogVisSetup::CDialogVisSetup(start_t start)
    : dialog_window(IDD_VIS_SETUP)
    , start_(std::move(start))
{
}

void CDialogVisSetup::open(start_t start)
{
    core_api::ensure_main_thread();
    const std::shared_ptr<CDialogVisSetup> made(new CDialogVisSetup(std::move(start)),
                                                [](CDialogVisSetup* gone) { delete gone; });
    open_dialogs().push_back(made);
    try {
        made->create(static_cast<HWND>(core_api::get_host().get_main_window()));
    } catch (...) {
        made->on_gone();
        throw;
    }
    if (made->window())
        ShowWindow(made->window(), SW_SHOW);
}

void CDialogVisSetup::close_all() noexcept
{
    while (!open_dialogs().empty()) {
        const auto last = open_dialogs().back();
        last->destroy();
        last->on_gone(); // also when there was no window any more
    }
}

void CDialogVisSetup::on_gone() noexcept
{
    // Whoever handles a message holds the object a little longer.
    std::erase_if(open_dialogs(), [this](const auto& each) { return each.get() == this; });
}

std::shared_ptr<const void> CDialogVisSetup::keep_alive() noexcept
{
    const auto same =
        std::ranges::find_if(open_dialogs(), [this](const auto& each) { return each.get() == this; });
    return same == open_dialogs().end() ? nullptr : *same;
}

void CDialogVisSetup::on_init()
{
    list_.attach(window(), IDC_LIST, toolkit::list_control::kind::owner_data, L"VST effects", 0, model_,
                 {[this] { enable(IDOK, model_.can_start(list_.selected())); },
                  [this](size_t row) { start(row); },
                  {}});
    scan_.begin([this](std::vector<vstConfig_t> found) {
        const auto keep = keep_alive();
        model_.scan_ended(std::move(found));
        list_.reload();
        enable(IDOK, false); // nothing is selected
    });
}

void CDialogVisSetup::on_command(int id, int, HWND)
{
    if (id == IDOK)
        start(list_.selected());
}

void CDialogVisSetup::start(std::optional<size_t> row)
{
    const auto keep = keep_alive();
    const auto effect = model_.effect(row);
    if (!effect)
        return;
    try {
        start_(*effect);
    } catch (const std::exception& failure) {
        show_popup(window(), "Could not start visualisation: " + Nv::failureText(failure), "Information",
                   popup_kind::failure);
        return;
    }
    destroy();
}
