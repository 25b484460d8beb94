#include "ui/CDialogFolders.h"

#include "catalogue/scanFolders.h"
#include "resources/dialog_ids.h"
#include "sdk/host_api.h"
#include "sdk/shell.h"

namespace {

constexpr int column_units = 292; // dialog units
constexpr const char* picker_title = "Choose VST Effect Folder";

std::shared_ptr<CDialogFolders>& the_dialog() noexcept
{
    static std::shared_ptr<CDialogFolders> dialog;
    return dialog;
}

// Several at once where the player can; none when the user gave up.
std::vector<std::string> choose_folders(HWND parent)
{
    struct collector final : path_receiver {
        void on_path(const char* path) override { paths.emplace_back(path); }
        std::vector<std::string> paths;
    } chosen;
    if (core_api::get_host().get_service_count(file_dialog_service::class_guid) == 1) {
        if (!service_get_unique<file_dialog_service>()->choose_folders(parent, picker_title, chosen))
            return {};
    } else if (const auto path = uBrowseForFolderEx(parent, picker_title)) {
        chosen.paths.push_back(*path);
    }
    return std::move(chosen.paths);
}

} // namespace

CDialogFolders::CDialogFolders()
    : dialog_window(IDD_FOLDERS)
    , model_(getDefaultFolders())
{
}

void CDialogFolders::open()
{
    core_api::ensure_main_thread();
    auto& dialog = the_dialog();
    if (!dialog) {
        dialog.reset(new CDialogFolders, [](CDialogFolders* gone) { delete gone; });
        const auto made = dialog;
        try {
            made->create(static_cast<HWND>(core_api::get_host().get_main_window()));
        } catch (...) {
            the_dialog().reset();
            throw;
        }
    }
    if (const HWND window = dialog ? dialog->window() : nullptr) {
        ShowWindow(window, SW_SHOW);
        BringWindowToTop(window);
    }
}

void CDialogFolders::close() noexcept
{
    if (const auto dialog = the_dialog())
        dialog->destroy();
}

std::shared_ptr<const void> CDialogFolders::keep_alive() noexcept
{
    return the_dialog();
}

void CDialogFolders::on_init()
{
    using toolkit::list_control;
    const auto opens = [this](const auto& path_of) {
        return [this, path_of](size_t row) { open_in_shell((model_.*path_of)(row)); };
    };
    default_list_.attach(window(), IDC_DEFAULT_LIST, list_control::kind::check_boxes,
                         L"System default VST folders", column_units, model_.default_rows(),
                         {{}, opens(&folders_model::default_path), [this](size_t row, bool ticked) {
                              model_.tick_default(row, ticked);
                          }});
    user_list_.attach(window(), IDC_LIST, list_control::kind::owner_data,
                      L"Additional folders to scan for VST effects", column_units, model_.user_rows(),
                      {[this] { show_selection(); }, opens(&folders_model::user_path), {}});
    default_list_.reload();
    user_list_.reload();
}

void CDialogFolders::on_command(int id, int, HWND)
{
    if (id == IDC_ADD)
        add();
    else if (id == IDC_REMOVE)
        remove();
}

bool CDialogFolders::on_notify(NMHDR& header)
{
    return default_list_.on_notify(header) || user_list_.on_notify(header);
}

// The instance and its rows stay for the next time.
void CDialogFolders::on_close()
{
    ShowWindow(window(), SW_HIDE);
}

void CDialogFolders::on_gone() noexcept
{
    the_dialog().reset(); // whoever handles a message holds it a little longer
}

void CDialogFolders::show_selection()
{
    enable(IDC_REMOVE, user_list_.selected().has_value());
}

void CDialogFolders::add()
{
    const std::vector<std::string> chosen = choose_folders(window());
    if (!window() || chosen.empty()) // the window may have gone while the picker was open
        return;
    model_.add(chosen);
    user_list_.reload();
    show_selection();
}

void CDialogFolders::remove()
{
    if (!model_.remove(user_list_.selected()))
        return;
    user_list_.reload();
    show_selection();
}

void CDialogFolders::open_in_shell(const std::optional<std::string>& path)
{
    if (path)
        uShellExecute(window(), nullptr, path->c_str(), nullptr);
}
