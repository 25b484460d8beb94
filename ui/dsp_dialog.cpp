#include "ui/dsp_dialog.h"

#include "sdk/dsp_preset_impl.h"
#include "sdk/host_api.h"
#include "sdk/main_thread.h"
#include "ui/CDialogChooseVST.h"

namespace {

constexpr INT_PTR result_accepted = 1, result_cancelled = 2;

// The callback of a modal chooser: keeps the preset, tells the player of changes, ends the dialog.
class modal_edit : public dsp_preset_edit_callback_v2 {
public:
    using service_interface = dsp_preset_edit_callback_v2;

    modal_edit(const dsp_preset& preset, dsp_preset_edit_callback& player)
        : preset_(preset)
        , player_(player)
    {
    }
    void get_preset(dsp_preset& out) override
    {
        out.set_owner(preset_.get_owner());
        out.set_data(preset_.get_data(), preset_.get_data_size());
    }
    void set_preset(const dsp_preset& preset) override
    {
        preset_.copy_from(preset);
        player_.on_preset_changed(preset_);
    }
    void dsp_dialog_done(bool accepted) override
    {
        if (dialog)
            dialog->end(accepted ? result_accepted : result_cancelled);
    }

    CDialogChooseVST* dialog = nullptr;

private:
    dsp_preset_impl preset_;
    dsp_preset_edit_callback& player_;
};

// The callback of a modeless one. The player may release the dialog while it is told.
class modeless_edit : public dsp_preset_edit_callback_v2 {
public:
    using service_interface = dsp_preset_edit_callback_v2;

    explicit modeless_edit(dsp_preset_edit_callback_v2& player)
        : player_(&player)
    {
    }
    void get_preset(dsp_preset& out) override { player_->get_preset(out); }
    void set_preset(const dsp_preset& preset) override { player_->set_preset(preset); }
    void dsp_dialog_done(bool accepted) override
    {
        struct at_end {
            std::shared_ptr<CDialogChooseVST> dialog;
            ~at_end()
            {
                if (dialog)
                    dialog->close();
            }
        } const close{dialog.lock()};
        player_->dsp_dialog_done(accepted);
    }

    std::weak_ptr<CDialogChooseVST> dialog;

private:
    service_ptr_t<dsp_preset_edit_callback_v2> player_;
};

// What the player holds of a modeless chooser.
class open_chooser : public service_base {
public:
    using service_interface = service_base;

    explicit open_chooser(std::shared_ptr<CDialogChooseVST> dialog)
        : dialog_(std::move(dialog))
    {
    }
    ~open_chooser()
    {
        try {
            if (core_api::get_host().is_main_thread())
                dialog_->close();
            else
                post_to_main_thread([dialog = std::move(dialog_)] { dialog->close(); });
        } catch (...) {
            // A player without a main thread to come back to; its quit actions close what is left.
        }
    }

private:
    std::shared_ptr<CDialogChooseVST> dialog_;
};

} // namespace

bool dsp_dialog(dsp_preset& preset, void* parent_window)
{
    struct in_place final : dsp_preset_edit_callback {
        explicit in_place(dsp_preset& preset)
            : edited(preset)
        {
        }
        void on_preset_changed(const dsp_preset& changed) override
        {
            edited.set_owner(changed.get_owner());
            edited.set_data(changed.get_data(), changed.get_data_size());
        }
        dsp_preset& edited;
    } callback(preset);
    const dsp_preset_impl before(preset);
    dsp_dialog_v2(before, parent_window, callback);
    return !(dsp_preset_impl(preset) == before);
}

void dsp_dialog_v2(const dsp_preset& preset, void* parent_window, dsp_preset_edit_callback& callback)
{
    core_api::ensure_main_thread();
    const auto edit = service_new<modal_edit>(preset, callback);
    CDialogChooseVST dialog(edit);
    edit->dialog = &dialog;
    dialog.run(static_cast<HWND>(parent_window));
}

void dsp_dialog_v3(service_ptr_t<service_base>& dialog, void* parent_window,
                   dsp_preset_edit_callback_v2& callback)
{
    core_api::ensure_main_thread();
    const auto edit = service_new<modeless_edit>(callback);
    auto made = CDialogChooseVST::open(static_cast<HWND>(parent_window), edit);
    edit->dialog = made;
    dialog = service_new<open_chooser>(std::move(made));
}
