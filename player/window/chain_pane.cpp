#include "player/window/chain_pane.h"

#include "player/window/ids.h"
#include "sdk/shell.h"
#include "win/utf.h"

#include <algorithm>

namespace player {

namespace {

LVITEMW row_item(int row, UINT mask)
{
    LVITEMW item{};
    item.mask = mask;
    item.iItem = row;
    return item;
}

std::string row_text(HWND list, int row)
{
    wchar_t text[512] = L"";
    ListView_GetItemText(list, row, 0, text, static_cast<int>(std::size(text)));
    return win::to_utf8(text);
}

} // namespace

chain_pane::chain_pane(HWND parent, live_chain& chain)
    : parent_(parent)
    , chain_(chain)
    , dialogs_(chain)
    , label_(make_control(parent, L"STATIC", "DSP &chain, in the order the sound goes through it", 0,
                          ids::chain_label))
    , list_(make_control(parent, WC_LISTVIEWW, "DSP chain",
                         WS_TABSTOP | LVS_REPORT | LVS_NOCOLUMNHEADER | LVS_SINGLESEL | LVS_SHOWSELALWAYS,
                         ids::chain_list, WS_EX_CLIENTEDGE))
    , add_(make_control(parent, L"BUTTON", "A&dd", WS_TABSTOP, ids::chain_add))
    , configure_(make_control(parent, L"BUTTON", "Co&nfigure", WS_TABSTOP, ids::chain_configure))
    , remove_(make_control(parent, L"BUTTON", "&Remove", WS_TABSTOP, ids::chain_remove))
    , up_(make_control(parent, L"BUTTON", "Mov&e up", WS_TABSTOP, ids::chain_up))
    , down_(make_control(parent, L"BUTTON", "Move do&wn", WS_TABSTOP, ids::chain_down))
{
    ListView_SetExtendedListViewStyle(list_, LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT);
    LVCOLUMNW column{};
    column.mask = LVCF_WIDTH;
    column.cx = 200;
    ListView_InsertColumn(list_, 0, &column);
    refresh();
}

void chain_pane::refresh()
{
    const uint64_t chosen = selected();
    const auto slots = chain_.get();
    filling_ = true;
    while (ListView_GetItemCount(list_) > static_cast<int>(slots->size()))
        ListView_DeleteItem(list_, ListView_GetItemCount(list_) - 1);
    shown_.clear();
    for (size_t i = 0; i < slots->size(); ++i) {
        const chain_slot& slot = *(*slots)[i];
        const int row = static_cast<int>(i);
        const std::string name = dsp_name(slot.preset);
        std::wstring text = win::to_utf16(name);
        if (row == ListView_GetItemCount(list_)) {
            LVITEMW item = row_item(row, LVIF_TEXT);
            item.pszText = text.data();
            ListView_InsertItem(list_, &item);
        } else if (row_text(list_, row) != name) {
            ListView_SetItemText(list_, row, 0, text.data());
        }
        if ((ListView_GetCheckState(list_, row) != 0) != slot.enabled)
            ListView_SetCheckState(list_, row, slot.enabled);
        shown_.push_back(slot.id);
    }
    filling_ = false;
    if (selected() != chosen)
        select(chosen);
    enable_buttons();
    dialogs_.close_orphans();
}

uint64_t chain_pane::selected() const
{
    const int row = ListView_GetNextItem(list_, -1, LVNI_SELECTED);
    return row >= 0 && row < static_cast<int>(shown_.size()) ? shown_[static_cast<size_t>(row)] : 0;
}

void chain_pane::select(uint64_t slot)
{
    const auto place = std::find(shown_.begin(), shown_.end(), slot);
    if (place == shown_.end())
        return;
    ListView_SetItemState(list_, static_cast<int>(place - shown_.begin()), LVIS_SELECTED | LVIS_FOCUSED,
                          LVIS_SELECTED | LVIS_FOCUSED);
}

void chain_pane::enable_buttons() const
{
    const uint64_t chosen = selected();
    const auto place = std::find(shown_.begin(), shown_.end(), chosen);
    const bool any = place != shown_.end();
    const struct {
        HWND button;
        bool usable;
    } states[] = {{configure_, any},
                  {remove_, any},
                  {up_, any && place != shown_.begin()},
                  {down_, any && place + 1 != shown_.end()}};
    for (const auto& [button, usable] : states) {
        // The keyboard's focus must not stay on a button that is greyed under it.
        if (!usable && GetFocus() == button)
            SetFocus(list_);
        EnableWindow(button, usable);
    }
}

void chain_pane::add()
{
    choices_ = list_dsp_choices();
    if (choices_.empty()) {
        show_popup(parent_, "The component has no DSPs to add.", "Add a DSP");
        return;
    }
    if (choices_.size() == 1)
        return add(choices_.front());
    const HMENU menu = CreatePopupMenu();
    for (size_t i = 0; i < choices_.size(); ++i)
        AppendMenuW(menu, MF_STRING, ids::first_entry + i, win::to_utf16(choices_[i].name).c_str());
    RECT place;
    GetWindowRect(add_, &place);
    TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_TOPALIGN, place.left, place.bottom, 0, parent_, nullptr);
    DestroyMenu(menu);
}

void chain_pane::add(const dsp_choice& choice)
{
    const uint64_t slot = chain_.add(choice.preset);
    select(slot);
    // A DSP as it comes does nothing: what it is to do is the next thing anybody wants to say.
    configure(slot);
    dialogs_.remove_if_left_as_is(slot);
}

bool chain_pane::command(int id)
{
    const uint64_t chosen = selected();
    const auto place = std::find(shown_.begin(), shown_.end(), chosen);
    const auto row = static_cast<size_t>(place - shown_.begin());
    const int choice = id - ids::first_entry;
    if (choice >= 0 && choice < static_cast<int>(choices_.size())) {
        add(dsp_choice(choices_[static_cast<size_t>(choice)]));
        return true;
    }
    switch (id) {
    case ids::chain_add:
        add();
        return true;
    case ids::chain_configure:
        if (chosen)
            configure(chosen);
        return true;
    case ids::chain_remove:
        chain_.remove(chosen);
        if (!shown_.empty() && chosen)
            select(shown_[std::min(row, shown_.size() - 1)]);
        return true;
    case ids::chain_up:
        if (chosen && row > 0)
            chain_.move(chosen, row - 1);
        return true;
    case ids::chain_down:
        if (chosen)
            chain_.move(chosen, row + 1);
        return true;
    default:
        return false;
    }
}

void chain_pane::notified(const NMHDR& header)
{
    if (header.code == LVN_ITEMCHANGED && !filling_) {
        const auto& change = reinterpret_cast<const NMLISTVIEW&>(header);
        const UINT boxes = change.uNewState & LVIS_STATEIMAGEMASK;
        const auto row = static_cast<size_t>(change.iItem);
        if (boxes && (change.uOldState & LVIS_STATEIMAGEMASK) && row < shown_.size())
            chain_.enable(shown_[row], boxes == INDEXTOSTATEIMAGEMASK(2));
        enable_buttons();
    } else if (header.code == NM_DBLCLK || header.code == NM_RETURN) {
        if (const uint64_t chosen = selected())
            configure(chosen);
    } else if (header.code == LVN_KEYDOWN) {
        if (reinterpret_cast<const NMLVKEYDOWN&>(header).wVKey == VK_DELETE)
            command(ids::chain_remove);
    }
}

void chain_pane::arrange(const appearance& look, int left, int top, int width, int height) const
{
    const int label = look.scaled(18), button = look.scaled(90), gap = look.scaled(8), line = look.scaled(26);
    place(label_, left, top, width, label);
    place(list_, left, top + label, width - button - gap, height - label);
    ListView_SetColumnWidth(list_, 0, width - button - gap - look.scaled(28));
    int y = top + label;
    for (const HWND control : {add_, configure_, remove_, up_, down_}) {
        place(control, left + width - button, y, button, line);
        y += line + gap / 2;
    }
}

} // namespace player
