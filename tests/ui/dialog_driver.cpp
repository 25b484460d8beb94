#include "dialog_driver.h"

#include "catalogue/scanFolders.h"
#include "catalogue/settings.h"
#include "player/services/task_runner.h"
#include "support/real_editor.h"
#include "win/utf.h"

#include <windows.h>

#include <commctrl.h>

#include <stdexcept>

dialog_player::dialog_player(bool picks_several)
{
    host.add_service(background_tasks::class_guid,
                     service_new<player::task_runner>(service_new<player::thread_pool>()));
    host.add_service(user_interface::class_guid, look);
    if (picks_several)
        host.add_service(file_dialog_service::class_guid, picker);
}

module_player::module_player()
{
    modules.make("found");
    for (const std::string& to : {vst2, vst3}) {
        const std::string from = shipped_effect(to.substr(to.rfind('\\') + 1), "x64");
        if (!CopyFileW(win::to_utf16(from).c_str(), win::to_utf16(to).c_str(), TRUE))
            throw std::runtime_error("cannot copy " + from);
    }
    cfg_vst_folders.set(modules.path("found"));
    std::vector<std::string> defaults;
    for (const vstFolder_t& folder : getDefaultFolders())
        defaults.push_back(folder.path);
    cfg_vst_folders_disabled.set(joinPaths(defaults));
}

std::string text_of(HWND window)
{
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
    return win::to_utf8(text);
}

std::string text_of(HWND dialog, int id)
{
    return text_of(GetDlgItem(dialog, id));
}

bool is_enabled(HWND dialog, int id)
{
    return IsWindowEnabled(GetDlgItem(dialog, id));
}

bool is_visible(HWND dialog, int id)
{
    return GetWindowLongW(GetDlgItem(dialog, id), GWL_STYLE) & WS_VISIBLE;
}

void click(HWND dialog, int id)
{
    if (is_enabled(dialog, id))
        SendDlgItemMessageW(dialog, id, BM_CLICK, 0, 0);
}

void type_key(HWND dialog, WPARAM key)
{
    const HWND focus = GetFocus();
    PostMessageW(focus && IsChild(dialog, focus) ? focus : dialog, WM_KEYDOWN, key, 1);
}

std::vector<std::string> layout_faults(HWND dialog)
{
    struct placed {
        std::string name;
        RECT area;
    };
    std::vector<placed> controls;
    std::vector<std::string> faults;
    RECT client = {}, common = {};
    GetClientRect(dialog, &client);
    for (HWND each = GetWindow(dialog, GW_CHILD); each; each = GetWindow(each, GW_HWNDNEXT)) {
        placed one = {text_of(each) + " (" + std::to_string(GetDlgCtrlID(each)) + ")", {}};
        GetWindowRect(each, &one.area);
        MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&one.area), 2);
        if (!IntersectRect(&common, &one.area, &client) || !EqualRect(&common, &one.area))
            faults.push_back(one.name + " lies outside");
        for (const placed& other : controls) {
            if (IntersectRect(&common, &one.area, &other.area))
                faults.push_back(one.name + " overlaps " + other.name);
        }
        if (SendMessageW(each, WM_GETDLGCODE, 0, 0) & (DLGC_STATIC | DLGC_BUTTON)) {
            const HDC context = GetDC(each);
            const HGDIOBJ before =
                SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(each, WM_GETFONT, 0, 0)));
            const std::wstring text = win::to_utf16(text_of(each));
            SIZE needed = {};
            GetTextExtentPoint32W(context, text.c_str(), static_cast<int>(text.size()), &needed);
            SelectObject(context, before);
            ReleaseDC(each, context);
            // What fits to the pixel is wrapped by some.
            if (needed.cx >= one.area.right - one.area.left || needed.cy > one.area.bottom - one.area.top)
                faults.push_back(one.name + " is cut");
        }
        controls.push_back(std::move(one));
    }
    return faults;
}

std::vector<std::string> choices(HWND dialog, int id)
{
    std::vector<std::string> found;
    const auto count = SendDlgItemMessageW(dialog, id, CB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
        wchar_t text[1024] = {};
        SendDlgItemMessageW(dialog, id, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
        found.push_back(win::to_utf8(text));
    }
    return found;
}

int chosen(HWND dialog, int id)
{
    return static_cast<int>(SendDlgItemMessageW(dialog, id, CB_GETCURSEL, 0, 0));
}

void choose(HWND dialog, int id, int index)
{
    const HWND control = GetDlgItem(dialog, id);
    SendMessageW(control, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(control));
}

std::vector<std::string> rows(HWND dialog, int id)
{
    const HWND list = GetDlgItem(dialog, id);
    const bool boxes = ListView_GetExtendedListViewStyle(list) & LVS_EX_CHECKBOXES;
    std::vector<std::string> found;
    for (int row = 0; row < ListView_GetItemCount(list); ++row) {
        wchar_t text[1024] = {};
        ListView_GetItemText(list, row, 0, text, 1024);
        const char* box = !boxes ? "" : ListView_GetCheckState(list, row) ? "[x] " : "[ ] ";
        found.push_back(box + win::to_utf8(text));
    }
    return found;
}

void select_row(HWND dialog, int id, int row)
{
    const UINT both = LVIS_SELECTED | LVIS_FOCUSED;
    ListView_SetItemState(GetDlgItem(dialog, id), row, row < 0 ? 0 : both, both);
}

void double_click_row(HWND dialog, int id, int row)
{
    const HWND list = GetDlgItem(dialog, id);
    RECT area = {};
    ListView_GetItemRect(list, row, &area, LVIR_LABEL);
    const LPARAM at = MAKELPARAM(area.left + 4, (area.top + area.bottom) / 2);
    for (const UINT message :
         {UINT{WM_LBUTTONDOWN}, UINT{WM_LBUTTONUP}, UINT{WM_LBUTTONDBLCLK}, UINT{WM_LBUTTONUP}})
        PostMessageW(list, message, message == WM_LBUTTONUP ? 0 : MK_LBUTTON, at);
}

void set_tick(HWND dialog, int id, int row, bool ticked)
{
    ListView_SetCheckState(GetDlgItem(dialog, id), row, ticked);
}
