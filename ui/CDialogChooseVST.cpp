#include "ui/CDialogChooseVST.h"

#include "resources/dialog_ids.h"
#include "ui/CDialogFolders.h"
#include "ui/presetFiles.h"
#include "ui/toolkit/dpi.h"
#include "win/utf.h"

#include <algorithm>

namespace {

std::vector<CDialogChooseVST*>& open_choosers() noexcept
{
    static std::vector<CDialogChooseVST*> choosers;
    return choosers;
}

// What `act` does to one may open or close others.
template <class Act>
void for_each_open(Act&& act) noexcept
{
    try {
        for (CDialogChooseVST* const each : std::vector<CDialogChooseVST*>(open_choosers())) {
            if (std::ranges::find(open_choosers(), each) != open_choosers().end())
                act(*each);
        }
    } catch (...) {
        // Without memory for the copy there is nothing to do for them either.
    }
}

} // namespace

CDialogChooseVST::CDialogChooseVST(service_ptr_t<dsp_preset_edit_callback_v2> callback)
    : dialog_window(IDD_CHOOSER)
    , callback_(std::move(callback))
{
    run_.onStateChanged = [this](const vstConfig_t& effect) {
        const auto keep = keep_alive();
        model_.state_read(effect);
    };
    run_.onFinished = [this] {
        const auto keep = keep_alive();
        model_.run_ended();
        show();
    };
}

CDialogChooseVST::~CDialogChooseVST()
{
    run_.onStateChanged = nullptr;
    run_.onFinished = nullptr;
}

std::shared_ptr<CDialogChooseVST> CDialogChooseVST::open(HWND parent,
                                                         service_ptr_t<dsp_preset_edit_callback_v2> callback)
{
    auto made = std::make_shared<CDialogChooseVST>(std::move(callback));
    made->self_ = made;
    try {
        made->create(parent);
    } catch (...) {
        made->self_.reset();
        throw;
    }
    if (made->window())
        ShowWindow(made->window(), SW_SHOW);
    return made;
}

void CDialogChooseVST::close() noexcept
{
    const auto keep = keep_alive();
    if (!window())
        return;
    // Before its window goes: the editor is owned by it.
    model_.close();
    destroy();
}

void CDialogChooseVST::rescan_all() noexcept
{
    for_each_open([](CDialogChooseVST& each) {
        each.model_.begin_scan();
        each.show();
    });
}

void CDialogChooseVST::close_all() noexcept
{
    for_each_open([](CDialogChooseVST& each) { each.close(); });
}

void CDialogChooseVST::on_init()
{
    open_choosers().push_back(this);
    show_choices(IDC_CHANNELS, chooser_model::channel_choices());
    show_choices(IDC_FORMAT, chooser_model::format_choices());
    dsp_preset_impl preset;
    callback_->get_preset(preset);
    model_.open(preset);
    show();
}

void CDialogChooseVST::on_command(int id, int code, HWND control)
{
    if (code == CBN_SELCHANGE) {
        const auto index = static_cast<int>(SendMessageW(control, CB_GETCURSEL, 0, 0));
        if (id == IDC_EFFECT) {
            shown_.effect = index;
            model_.choose_effect(index);
        } else if (id == IDC_CHANNELS) {
            shown_.channels = index;
            model_.choose_channels(index);
        } else if (id == IDC_FORMAT) {
            shown_.format = index;
            model_.choose_format(index);
        }
    } else if (id == IDC_FOLDERS) {
        CDialogFolders::open();
    } else if (id == IDC_LOAD) {
        load();
    } else if (id == IDC_SAVE) {
        save();
    }
    show();
}

void CDialogChooseVST::on_close()
{
    if (std::exchange(done_, true))
        return;
    model_.close();
    if (window()) // the last state's push may have destroyed it
        callback_->dsp_dialog_done(true);
}

void CDialogChooseVST::on_destroy()
{
    model_.close();
    scan_.cancel();
    std::erase(open_choosers(), this);
}

void CDialogChooseVST::on_gone() noexcept
{
    self_.reset(); // whoever handles a message holds the object a little longer
}

// A run that cannot be begun is like a worker that cannot: the effect stays chosen.
void CDialogChooseVST::start_run(const vstConfig_t& effect)
{
    try {
        run_.Start(effect, window());
    } catch (const std::exception& failure) {
        report("VST configuration: ", failure);
    }
}

bool CDialogChooseVST::begin_scan()
{
    try {
        scan_.begin([this](std::vector<vstConfig_t> found) { scan_ended(std::move(found)); });
        return true;
    } catch (const std::exception& failure) {
        report("VST scan: ", failure);
        return false;
    }
}

void CDialogChooseVST::scan_ended(std::vector<vstConfig_t> found)
{
    const auto keep = keep_alive();
    model_.scan_ended(std::move(found));
    show();
}

void CDialogChooseVST::load()
{
    const vstConfig_t* const effect = model_.selected();
    if (!effect || effect->vstVersion != 3)
        return;
    loadPreset(window(), [this, path = effect->path](std::vector<uint8_t> state) {
        if (window()) // the picker ran messages
            model_.load_state(path, std::move(state));
    });
}

void CDialogChooseVST::save()
{
    const vstConfig_t* const effect = model_.selected();
    if (effect && effect->vstVersion == 3)
        savePreset(window(), effect->state);
}

void CDialogChooseVST::show()
{
    if (!window())
        return;
    const chooser_view& view = model_.view();
    if (view.effects != shown_.effects)
        show_choices(IDC_EFFECT, view.effects);
    const auto select = [&](int id, int index) {
        SendMessageW(control(id), CB_SETCURSEL, static_cast<WPARAM>(index), 0);
    };
    if (view.effect != shown_.effect || view.effects != shown_.effects)
        select(IDC_EFFECT, view.effect);
    if (view.channels != shown_.channels)
        select(IDC_CHANNELS, view.channels);
    if (view.format != shown_.format)
        select(IDC_FORMAT, view.format);
    enable(IDC_EFFECT, view.effects_enabled);
    enable(IDC_CHANNELS, view.channels_enabled);
    enable(IDC_LOAD, view.presets_enabled);
    enable(IDC_SAVE, view.presets_enabled);
    if (view.status != shown_.status) {
        if (view.status)
            SetWindowTextW(control(IDC_STATUS), win::to_utf16(*view.status).c_str());
        ShowWindow(control(IDC_STATUS), view.status ? SW_SHOW : SW_HIDE);
    }
    shown_ = view;
}

// The list that drops down is as wide as its longest text.
void CDialogChooseVST::show_choices(int id, const std::vector<std::string>& texts)
{
    const HWND box = control(id);
    const HDC context = GetDC(box);
    const HGDIOBJ before =
        SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(box, WM_GETFONT, 0, 0)));
    int widest = 0;
    SendMessageW(box, CB_RESETCONTENT, 0, 0);
    for (const std::string& text : texts) {
        const std::wstring wide = win::to_utf16(text);
        SendMessageW(box, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(wide.c_str()));
        SIZE size = {};
        GetTextExtentPoint32W(context, wide.c_str(), static_cast<int>(wide.size()), &size);
        widest = std::max(widest, static_cast<int>(size.cx));
    }
    SelectObject(context, before);
    ReleaseDC(box, context);
    const int room = toolkit::scaled(box, 12) + GetSystemMetrics(SM_CXVSCROLL);
    SendMessageW(box, CB_SETDROPPEDWIDTH, static_cast<WPARAM>(widest) + static_cast<WPARAM>(room), 0);
}
