#include "player/window/preferences_window.h"

#include "player/window/ids.h"
#include "sdk/host_api.h"
#include "sdk/shell.h"
#include "win/utf.h"

#include <algorithm>

namespace player {

namespace {

constexpr guid_t root_branch = {0x35365484, 0xcc58, 0x4926, {0x97, 0xe1, 0x5e, 0x63, 0xf3, 0xab, 0xb9, 0xe2}};
constexpr int deepest_branch = 8;
constexpr UINT box_clicked = WM_APP; // the tree tells of a click before it has happened

template <class T>
std::string name_of(const T& labelled)
{
    string_out_impl name;
    labelled.get_name(name);
    return name.text;
}

// In the order in which they are shown.
template <class T>
std::vector<service_ptr_t<T>> children_of(const guid_t& parent)
{
    std::vector<service_ptr_t<T>> list;
    service_enumerate<T>([&](T& each) {
        if (each.get_parent() == parent)
            list.emplace_back(&each);
        return true;
    });
    std::stable_sort(list.begin(), list.end(), [](const auto& a, const auto& b) {
        if (a->get_sort_priority() != b->get_sort_priority())
            return a->get_sort_priority() < b->get_sort_priority();
        return name_of(*a) < name_of(*b);
    });
    return list;
}

HTREEITEM insert(HWND tree, HTREEITEM under, const std::string& text, LPARAM index, int box)
{
    // Where the platform measures a text narrower than it draws it, the blank is cut off instead of a letter.
    std::wstring wide = win::to_utf16(text + ' ');
    TVINSERTSTRUCTW what{};
    what.hParent = under;
    what.hInsertAfter = TVI_LAST;
    what.itemex.mask = TVIF_TEXT | TVIF_PARAM | TVIF_STATE;
    what.itemex.pszText = wide.data();
    what.itemex.lParam = index;
    what.itemex.stateMask = TVIS_STATEIMAGEMASK | TVIS_EXPANDED;
    what.itemex.state = INDEXTOSTATEIMAGEMASK(static_cast<UINT>(box)) | TVIS_EXPANDED;
    return TreeView_InsertItem(tree, &what);
}

// 0: none, as branches have it; 1: off; 2: on.
void set_box(HWND tree, HTREEITEM item, int box)
{
    TreeView_SetItemState(tree, item, INDEXTOSTATEIMAGEMASK(static_cast<UINT>(box)), TVIS_STATEIMAGEMASK);
}

} // namespace

preferences_window::preferences_window(HWND owner, dialog_keys& keys, theme& colors, shortcuts& bindings)
    : owner_(owner)
    , keys_(keys)
    , colors_(colors)
    , bindings_(bindings)
{
}

preferences_window::~preferences_window()
{
    if (!window_)
        return;
    keys_.remove(window_);
    DestroyWindow(window_);
}

void preferences_window::open()
{
    if (!window_) {
        register_class(ids::preferences_class, &procedure);
        look_.set(dpi_of(owner_), colors_.is_dark());
        RECT at;
        GetWindowRect(owner_, &at);
        window_ = CreateWindowExW(WS_EX_CONTROLPARENT, ids::preferences_class, L"Preferences",
                                  WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN, at.left + 40,
                                  at.top + 60, look_.scaled(480), look_.scaled(430), owner_, nullptr,
                                  GetModuleHandleW(nullptr), this);
        if (!window_)
            throw exception_win32(GetLastError());
        keys_.add(window_);
        service_ptr_t<user_interface_look> look;
        colors_.get_look(look);
        look->follow_frame(window_);
        look->follow_theme(window_);
    }
    fill_tree();
    fill_commands();
    ShowWindow(window_, SW_SHOW);
    SetForegroundWindow(window_);
    SetFocus(control(ids::settings_tree));
}

void preferences_window::make_controls()
{
    make_control(window_, L"STATIC", "&Advanced", 0, ids::settings_label);
    const HWND tree =
        make_control(window_, WC_TREEVIEWW, "Advanced",
                     WS_TABSTOP | TVS_HASLINES | TVS_HASBUTTONS | TVS_LINESATROOT | TVS_SHOWSELALWAYS,
                     ids::settings_tree, WS_EX_CLIENTEDGE);
    // Only works when it is set after the tree was made.
    SetWindowLongPtrW(tree, GWL_STYLE, GetWindowLongPtrW(tree, GWL_STYLE) | TVS_CHECKBOXES);
    make_control(window_, L"BUTTON", "&Reset to default", WS_TABSTOP, ids::settings_reset);
    make_control(window_, L"STATIC", "&Theme", SS_CENTERIMAGE, ids::theme_label);
    const HWND choice =
        make_control(window_, L"COMBOBOX", "", WS_TABSTOP | CBS_DROPDOWNLIST | WS_VSCROLL, ids::theme_choice);
    for (const wchar_t* text : {L"As the system", L"Light", L"Dark"})
        SendMessageW(choice, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    make_control(window_, L"STATIC", "&Shortcut of", SS_CENTERIMAGE, ids::shortcut_label);
    make_control(window_, L"COMBOBOX", "", WS_TABSTOP | CBS_DROPDOWNLIST | WS_VSCROLL, ids::shortcut_list);
    make_control(window_, HOTKEY_CLASSW, "Keys", WS_TABSTOP, ids::shortcut_key, WS_EX_CLIENTEDGE);
    make_control(window_, L"BUTTON", "S&et", WS_TABSTOP, ids::shortcut_set);
    make_control(window_, L"BUTTON", "&Close", WS_TABSTOP | BS_DEFPUSHBUTTON, ids::preferences_close);
    look_.dress_children(window_);
    arrange();
}

void preferences_window::arrange() const
{
    RECT area;
    GetClientRect(window_, &area);
    const int gap = look_.scaled(10), line = look_.scaled(26), label = look_.scaled(80),
              button = look_.scaled(110), width = area.right - 2 * gap;
    int y = area.bottom - gap - line;
    player::place(control(ids::preferences_close), area.right - gap - button, y, button, line);
    y -= line + gap;
    const int key = look_.scaled(110), set = look_.scaled(60);
    player::place(control(ids::shortcut_label), gap, y, label, line);
    player::place(control(ids::shortcut_list), gap + label, y, width - label - key - set - 2 * gap, line * 8);
    player::place(control(ids::shortcut_key), area.right - gap - set - gap - key, y, key,
                  line - look_.scaled(2));
    player::place(control(ids::shortcut_set), area.right - gap - set, y, set, line);
    y -= line + gap;
    player::place(control(ids::theme_label), gap, y, label, line);
    player::place(control(ids::theme_choice), gap + label, y, look_.scaled(160), line * 5);
    player::place(control(ids::settings_reset), area.right - gap - button, y, button, line);
    const int top = gap + look_.scaled(20);
    player::place(control(ids::settings_label), gap, gap, width, look_.scaled(18));
    player::place(control(ids::settings_tree), gap, top, width, y - gap - top);
}

void preferences_window::fill_tree()
{
    const HWND tree = control(ids::settings_tree);
    TreeView_DeleteAllItems(tree);
    entries_.clear();
    add_branch(TVI_ROOT, root_branch, 0);
    TreeView_SelectItem(tree, TreeView_GetRoot(tree));
    SendMessageW(control(ids::theme_choice), CB_SETCURSEL, static_cast<WPARAM>(colors_.choice()), 0);
}

void preferences_window::add_branch(HTREEITEM under, const guid_t& parent, int depth)
{
    const HWND tree = control(ids::settings_tree);
    for (const auto& branch : children_of<advconfig_branch>(parent)) {
        const HTREEITEM item = insert(tree, under, name_of(*branch), -1, 0);
        // The boxes came with the style, whatever was asked for.
        set_box(tree, item, 0);
        if (depth < deepest_branch)
            add_branch(item, branch->get_guid(), depth + 1);
        TreeView_Expand(tree, item, TVE_EXPAND);
    }
    for (const auto& entry : children_of<advconfig_entry>(parent)) {
        auto box = service_query_as<advconfig_entry_checkbox>(*entry);
        if (!box)
            continue;
        insert(tree, under, name_of(*box), static_cast<LPARAM>(entries_.size()), box->get_state() ? 2 : 1);
        entries_.push_back(std::move(box));
    }
}

void preferences_window::fill_commands()
{
    const HWND list = control(ids::shortcut_list);
    SendMessageW(list, CB_RESETCONTENT, 0, 0);
    commands_ = all_commands();
    for (const menu_entry& command : commands_)
        SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(win::to_utf16(command.text).c_str()));
    SendMessageW(list, CB_SETCURSEL, commands_.empty() ? static_cast<WPARAM>(-1) : 0, 0);
    for (const int id : {ids::shortcut_list, ids::shortcut_key, ids::shortcut_set})
        EnableWindow(control(id), !commands_.empty());
    show_key();
}

void preferences_window::show_key() const
{
    const auto chosen = static_cast<size_t>(SendMessageW(control(ids::shortcut_list), CB_GETCURSEL, 0, 0));
    WORD value = 0;
    if (chosen < commands_.size()) {
        if (const auto press = parse_key(bindings_.text_of(commands_[chosen].guid))) {
            const int modifiers = (press->shift ? HOTKEYF_SHIFT : 0) |
                                  (press->control ? HOTKEYF_CONTROL : 0) | (press->alt ? HOTKEYF_ALT : 0);
            value = MAKEWORD(press->key, modifiers);
        }
    }
    SendMessageW(control(ids::shortcut_key), HKM_SETHOTKEY, value, 0);
}

advconfig_entry_checkbox* preferences_window::entry_of(HTREEITEM item) const
{
    TVITEMEXW what{};
    what.mask = TVIF_PARAM;
    what.hItem = item;
    if (!item || !TreeView_GetItem(control(ids::settings_tree), &what))
        return nullptr;
    const auto index = static_cast<size_t>(what.lParam);
    return index < entries_.size() ? entries_[index].get() : nullptr;
}

void preferences_window::store_box(HTREEITEM item)
{
    const HWND tree = control(ids::settings_tree);
    advconfig_entry_checkbox* entry = entry_of(item);
    if (!entry) {
        set_box(tree, item, 0);
        return;
    }
    entry->set_state(TreeView_GetCheckState(tree, item) == 1);
    if (entry->is_radio())
        fill_tree(); // the others of its kind went off
}

void preferences_window::command(int id, int code)
{
    const HWND tree = control(ids::settings_tree);
    if (id == ids::preferences_close) {
        ShowWindow(window_, SW_HIDE);
        SetForegroundWindow(owner_);
    } else if (id == ids::settings_reset) {
        const HTREEITEM item = TreeView_GetSelection(tree);
        if (advconfig_entry_checkbox* entry = entry_of(item)) {
            entry->reset();
            set_box(tree, item, entry->get_state() ? 2 : 1);
        }
    } else if (id == ids::theme_choice && code == CBN_SELCHANGE) {
        colors_.choose(static_cast<theme_choice>(SendMessageW(control(id), CB_GETCURSEL, 0, 0)));
    } else if (id == ids::shortcut_list && code == CBN_SELCHANGE) {
        show_key();
    } else if (id == ids::shortcut_set) {
        const auto chosen =
            static_cast<size_t>(SendMessageW(control(ids::shortcut_list), CB_GETCURSEL, 0, 0));
        const auto value = static_cast<WORD>(SendMessageW(control(ids::shortcut_key), HKM_GETHOTKEY, 0, 0));
        const int modifiers = HIBYTE(value);
        if (chosen < commands_.size())
            bindings_.bind(commands_[chosen].guid,
                           {(modifiers & HOTKEYF_CONTROL) != 0, (modifiers & HOTKEYF_ALT) != 0,
                            (modifiers & HOTKEYF_SHIFT) != 0, LOBYTE(value)});
        show_key(); // a key that cannot be one is not kept
    }
}

void preferences_window::notified(const NMHDR& header)
{
    if (header.idFrom != ids::settings_tree)
        return;
    HTREEITEM item = nullptr;
    if (header.code == NM_CLICK) {
        TVHITTESTINFO hit{};
        const DWORD where = GetMessagePos();
        hit.pt = {static_cast<short>(LOWORD(where)), static_cast<short>(HIWORD(where))};
        ScreenToClient(header.hwndFrom, &hit.pt);
        TreeView_HitTest(header.hwndFrom, &hit);
        if (hit.flags & TVHT_ONITEMSTATEICON)
            item = hit.hItem;
    } else if (header.code == TVN_KEYDOWN && reinterpret_cast<const NMTVKEYDOWN&>(header).wVKey == VK_SPACE) {
        item = TreeView_GetSelection(header.hwndFrom);
    }
    if (item)
        PostMessageW(window_, box_clicked, 0, reinterpret_cast<LPARAM>(item));
}

// A chosen row without the focus has the platform's light grey behind it, on which light text is lost.
LRESULT preferences_window::draw_row(NMTVCUSTOMDRAW& row) const
{
    if (!look_.is_dark())
        return CDRF_DODEFAULT;
    if (row.nmcd.dwDrawStage == CDDS_PREPAINT)
        return CDRF_NOTIFYITEMDRAW;
    // Not CDIS_FOCUS: the chosen row keeps that when the tree has lost the keyboard.
    if (row.nmcd.dwDrawStage == CDDS_ITEMPREPAINT && (row.nmcd.uItemState & CDIS_SELECTED) != 0 &&
        GetFocus() != row.nmcd.hdr.hwndFrom) {
        row.clrText = look_.text();
        row.clrTextBk = look_.chosen();
    }
    return CDRF_DODEFAULT;
}

LRESULT preferences_window::handle(UINT message, WPARAM first, LPARAM second)
{
    switch (message) {
    case WM_CREATE:
        make_controls();
        return 0;
    case WM_CLOSE:
        command(ids::preferences_close, 0);
        return 0;
    case WM_COMMAND:
        command(LOWORD(first), HIWORD(first));
        return 0;
    case WM_NEXTDLGCTL: // the key of a label; only dialogs of the system answer it by themselves
        next_control(window_, first, second);
        return 0;
    case WM_NOTIFY: {
        auto& header = *reinterpret_cast<NMHDR*>(second);
        if (header.idFrom == ids::settings_tree && header.code == NM_CUSTOMDRAW)
            return draw_row(reinterpret_cast<NMTVCUSTOMDRAW&>(header));
        notified(header);
        return 0;
    }
    case box_clicked:
        store_box(reinterpret_cast<HTREEITEM>(second));
        return 0;
    case WM_THEMECHANGED:
        look_.set(dpi_of(window_), colors_.is_dark());
        look_.dress_children(window_);
        InvalidateRect(window_, nullptr, TRUE);
        return 0;
    case WM_ERASEBKGND: {
        RECT area;
        GetClientRect(window_, &area);
        FillRect(reinterpret_cast<HDC>(first), &area, look_.back_brush());
        return 1;
    }
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORBTN:
        return reinterpret_cast<LRESULT>(look_.color_label(reinterpret_cast<HDC>(first)));
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLOREDIT:
        return reinterpret_cast<LRESULT>(look_.color_field(reinterpret_cast<HDC>(first)));
    default:
        return DefWindowProcW(window_, message, first, second);
    }
}

LRESULT CALLBACK preferences_window::procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    if (message == WM_NCCREATE) {
        auto* self =
            static_cast<preferences_window*>(reinterpret_cast<CREATESTRUCTW*>(second)->lpCreateParams);
        self->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    }
    auto* self = reinterpret_cast<preferences_window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!self)
        return DefWindowProcW(window, message, first, second);
    try {
        return self->handle(message, first, second);
    } catch (const std::exception& error) {
        // Storing failed, mostly: what is shown stays.
        try {
            show_popup(window, error.what(), "Preferences", popup_kind::failure);
        } catch (const std::exception&) {
        }
        return 0;
    }
}

} // namespace player
