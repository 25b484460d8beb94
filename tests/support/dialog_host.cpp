#include "support/dialog_host.h"

#include "player/services/chain_service.h"
#include "player/services/md5_hasher.h"
#include "player/services/native_filesystem.h"
#include "support/wait_until.h"

void scripted_shell::show_popup(void*, const char* text, const char* title, popup_kind)
{
    shown.push_back(std::string("popup ") + title + ": " + text);
    if (meanwhile)
        meanwhile();
}

bool scripted_shell::get_open_file_name(void*, const char* filter, const char* default_extension,
                                        const char* title, const char*, bool save, string_out& path)
{
    return pick(std::string(save ? "save " : "open ") + title + "|" + filter + "|" + default_extension, path);
}

bool scripted_shell::browse_for_folder(void*, const char* title, string_out& path)
{
    return pick(std::string("folder ") + title, path);
}

bool scripted_shell::execute(void*, const char*, const char* file, const char*)
{
    shown.push_back(std::string("execute ") + file);
    if (meanwhile)
        meanwhile();
    return true;
}

bool scripted_shell::pick(std::string what, string_out& path)
{
    shown.push_back(std::move(what));
    if (meanwhile)
        meanwhile();
    if (answer)
        set_text(path, *answer);
    return answer.has_value();
}

dialog_host::dialog_host()
{
    host.add_service(main_thread_queue::class_guid, queue);
    host.add_service(modeless_dialogs::class_guid, modeless);
    host.add_service(shell_service::class_guid, shell);
    host.add_service(filesystem::class_guid, service_new<player::native_filesystem>());
    host.add_service(dsp_config_manager::class_guid, service_new<player::chain_service>(chain));
    host.add_service(hasher_md5::class_guid, service_new<player::md5_hasher>());
}

void dialog_host::pump()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        const std::vector<HWND> dialogs = modeless->windows; // one may go
        if (std::ranges::none_of(dialogs, [&](HWND each) { return IsDialogMessageW(each, &message); })) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
}

bool dialog_host::run_until(const std::function<bool()>& done, double limit_seconds)
{
    pump();
    return wait_until(done, limit_seconds, [this] {
        MsgWaitForMultipleObjectsEx(0, nullptr, 10, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        pump();
    });
}

void dialog_host::run_for(double seconds)
{
    run_until([] { return false; }, seconds);
}
