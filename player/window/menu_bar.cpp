#include "player/window/menu_bar.h"

#include "player/window/ids.h"
#include "win/utf.h"

namespace player {

namespace {

// Texts of components are shown as they are: an ampersand is none of ours.
std::wstring item_text(const std::string& text)
{
    std::string doubled;
    for (const char c : text)
        doubled += c == '&' ? "&&" : std::string(1, c);
    return win::to_utf16(doubled);
}

HMENU add_popup(HMENU bar, const wchar_t* text)
{
    const HMENU popup = CreatePopupMenu();
    AppendMenuW(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(popup), text);
    return popup;
}

void add_item(HMENU menu, int id, const wchar_t* text)
{
    AppendMenuW(menu, MF_STRING, static_cast<UINT_PTR>(id), text);
}

} // namespace

menu_bar::menu_bar(HWND window, const shortcuts& keys)
    : keys_(keys)
{
    const HMENU bar = CreateMenu();
    const HMENU file = add_popup(bar, L"&File");
    add_item(file, ids::open, L"&Open...\tCtrl+O");
    add_item(file, ids::preferences, L"&Preferences...\tCtrl+P");
    AppendMenuW(file, MF_SEPARATOR, 0, nullptr);
    add_item(file, ids::quit, L"E&xit\tAlt+F4");
    const HMENU playback = add_popup(bar, L"Play&back");
    add_item(playback, ids::play, L"&Play\tF5");
    add_item(playback, ids::pause, L"Pa&use\tF6");
    add_item(playback, ids::stop, L"&Stop\tF7");
    groups_ = {{mainmenu_group_dsp, add_popup(bar, L"DSP &menu")},
               {mainmenu_group_visualisations, add_popup(bar, L"&Visualisations")}};
    // What a component hangs elsewhere must not get lost.
    if (!menu_of_group({}, {mainmenu_group_dsp, mainmenu_group_visualisations}).empty())
        groups_.push_back({{}, add_popup(bar, L"Components")});
    add_item(add_popup(bar, L"&Help"), ids::about, L"&About...");
    SetMenu(window, bar);
}

void menu_bar::append(HMENU menu, const std::vector<menu_entry>& entries)
{
    for (const menu_entry& entry : entries) {
        if (entry.what == menu_entry::kind::separator) {
            AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
            continue;
        }
        const UINT flags = (entry.flags & mainmenu_flag_disabled ? MF_GRAYED : 0u) |
                           (entry.flags & mainmenu_flag_checked ? MF_CHECKED : 0u);
        if (entry.what == menu_entry::kind::group) {
            const HMENU popup = CreatePopupMenu();
            append(popup, entry.children);
            if (entry.children.empty())
                AppendMenuW(popup, MF_STRING | MF_GRAYED, 0, L"(none)");
            AppendMenuW(menu, MF_POPUP | flags, reinterpret_cast<UINT_PTR>(popup),
                        item_text(entry.text).c_str());
            continue;
        }
        if (entries_.size() > static_cast<size_t>(ids::last_component - ids::first_component))
            return;
        const std::string key = keys_.text_of(entry.guid);
        std::wstring text = item_text(entry.text);
        if (!key.empty())
            text += L"\t" + win::to_utf16(key);
        AppendMenuW(menu, MF_STRING | flags, ids::first_component + entries_.size(), text.c_str());
        entries_.push_back(entry);
    }
}

void menu_bar::about_to_show(HMENU popup)
{
    for (const group& each : groups_) {
        if (each.menu != popup)
            continue;
        while (GetMenuItemCount(popup) > 0)
            DeleteMenu(popup, 0, MF_BYPOSITION);
        entries_.clear();
        std::vector<guid_t> groups;
        for (const group& known : groups_)
            groups.push_back(known.guid);
        append(popup, menu_of_group(each.guid, groups));
        if (GetMenuItemCount(popup) == 0)
            AppendMenuW(popup, MF_STRING | MF_GRAYED, 0, L"(none)");
    }
}

const menu_entry* menu_bar::shown(int id) const
{
    const auto index = static_cast<size_t>(id - ids::first_component);
    return id >= ids::first_component && index < entries_.size() ? &entries_[index] : nullptr;
}

std::string menu_bar::description(int id) const
{
    const menu_entry* entry = shown(id);
    return entry ? entry->description : std::string();
}

bool menu_bar::command(int id)
{
    const menu_entry* entry = shown(id);
    if (!entry)
        return false;
    const auto run = entry->run; // it may bring the menu up again
    if (run)
        run();
    return true;
}

} // namespace player
