// The player quits while the component is busy: it comes out of it in time, with nothing lost or left.

#include "loaded_component.h"

#include "player/host/component_settings.h"
#include "player/running_host.h"
#include "player/services/queue_window.h"
#include "player/window/menu_model.h"
#include "resources/dialog_ids.h"
#include "sdk/dsp.h"
#include "support/edited_preset.h"
#include "support/shipped.h"
#include "worker/startWorker.h"

#include <doctest/doctest.h>

#include <commctrl.h>

#include <algorithm>
#include <filesystem>
#include <functional>

namespace {

struct running_player {
    void use_scripted_workers()
    {
        // Of the module that is loaded already: only where it looks for its workers changes.
        fake_worker::use_for_launches();
        const auto get_interface = reinterpret_cast<quavix_get_interface_t*>(reinterpret_cast<void*>(
            GetProcAddress(GetModuleHandleW(L"qvx_dsp_vst3.dll"), "quavix_get_interface")));
        get_interface(&host)->set_library_path(Nv::componentPath().c_str(), "component.dll");
    }
    bool run_until(const std::function<bool()>& done)
    {
        return wait_until(done, 20, [] {
            MsgWaitForMultipleObjectsEx(0, nullptr, 10, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
            MSG message;
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageW(&message);
        });
    }
    void shut_down()
    {
        const ULONGLONG began = GetTickCount64();
        CHECK(host.shut_down());
        CHECK(GetTickCount64() - began < 2000);
        CHECK(GetModuleHandleW(L"qvx_dsp_vst3.dll") == nullptr);
        CHECK(lines == std::vector<std::string>{});
    }
    // A menu command of that name.
    void run_command(std::string_view name)
    {
        for (const auto& command : player::all_commands()) {
            if (command.text == name)
                return command.run();
        }
        FAIL("no such command");
    }

    std::vector<std::string> lines;
    running_host running{[](player::player_host& made) { made.load_component(shipped("qvx_dsp_vst3.dll")); },
                         [this](std::string_view line) { lines.emplace_back(line); }};
    player::player_host& host = running.host;
    player::queue_window window{host.main_queue()};
};

// Keeps "last" when it is told to go.
const char* const editor = "connect\nsignal-event {event:up}\non-broken-pipe write-file $--data last\nread 1";

} // namespace

TEST_CASE("at quit a chooser that the player still holds goes with its editor, and the folders with it")
{
    fake_worker fake(editor);
    edited target(fake.effect());
    const auto edit = service_new<edit_callback_v2>(target);
    running_player test;
    test.use_scripted_workers();
    service_ptr_t<service_base> dialog;
    service_enumerate<dsp_entry>([&](dsp_entry& entry) {
        service_query_as<dsp_entry_v3>(entry)->show_config_popup_v3(dialog, nullptr, *edit);
        return false;
    });
    const HWND chooser = FindWindowW(nullptr, L"VST Effect Configuration");
    REQUIRE(chooser);
    SendMessageW(chooser, WM_COMMAND, IDC_FOLDERS, 0);
    CHECK(FindWindowW(nullptr, L"VST Folders"));
    REQUIRE(fake.wait_for("up"));
    test.shut_down();
    static_cast<void>(dialog.detach()); // its code is gone
    CHECK(!IsWindow(chooser));
    CHECK(!FindWindowW(nullptr, L"VST Folders"));
    CHECK(target.done.empty());
    CHECK(target.state() == "last");
}

TEST_CASE("at quit an open editor is closed, its last state goes into the chain, and the module unloads")
{
    for (const bool with_editor : {true, false}) {
        CAPTURE(with_editor);
        fake_worker fake(editor);
        running_player test;
        test.use_scripted_workers();
        test.host.chain().add(preset_of(fake.effect()));
        std::string file;
        if (with_editor) {
            test.run_command("Fake");
            REQUIRE(fake.wait_for("up"));
            const auto arguments = fake.arguments();
            file = *(std::find(arguments.begin(), arguments.end(), "--data") + 1);
            CHECK(std::filesystem::exists(file));
        }
        test.shut_down();
        CHECK_FALSE(std::filesystem::exists(file));
        CHECK(state_of(test.host.chain().get()->front()->preset) == (with_editor ? "last" : ""));
        CHECK(fake.process_ids().size() == (with_editor ? 1 : 0));
        if (with_editor)
            CHECK(fake.record().back() == "exit 0");
    }
}

TEST_CASE("at quit visualisations, their dialogs and a scan under way end")
{
    running_player test;
    player::change_setting(test.host.store(), "folders=" + dist() + "\\effects\\x64");
    const auto show_dialog = [&] {
        test.run_command("Visualize with VST ...");
        return FindWindowW(nullptr, L"Visualize with VST"); // the one made last is in front
    };
    for (int i = 0; i < 3; ++i) {
        const HWND dialog = show_dialog();
        REQUIRE(dialog);
        const HWND list = GetDlgItem(dialog, IDC_LIST);
        REQUIRE(test.run_until([&] { return ListView_GetItemCount(list) > 0; }));
        ListView_SetItemState(list, 0, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
        PostMessageW(dialog, WM_COMMAND, IDOK, reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDOK)));
        REQUIRE(test.run_until([&] { return !IsWindow(dialog); }));
    }
    CHECK(test.run_until([] {
        int shown = 0;
        for (HWND window = nullptr; (window = FindWindowExW(nullptr, window, nullptr, L"VST Visualization"));)
            shown += IsWindowVisible(window);
        return shown == 3;
    }));
    CHECK(show_dialog()); // its scan begins now
    test.shut_down();
    CHECK(FindWindowW(nullptr, L"VST Visualization") == nullptr);
    CHECK(FindWindowW(nullptr, L"Visualize with VST") == nullptr);
}
