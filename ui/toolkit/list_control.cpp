#include "ui/toolkit/list_control.h"

#include "sdk/exceptions.h"
#include "ui/toolkit/common_controls.h"
#include "ui/toolkit/dpi.h"
#include "ui/toolkit/theme.h"
#include "win/utf.h"

#include <windowsx.h>

#include <initguid.h>
#include <oleacc.h>

#include <algorithm>
#include <climits>

namespace toolkit {

namespace {

constexpr UINT_PTR subclass_id = 1;
constexpr int cell_margin = 12; // pixels at 96 dots an inch that a list view keeps free around a text

// Of both kinds; the state image says whether the box is ticked, and 0 that there is none yet.
UINT tick_of(UINT state) noexcept
{
    return (state & LVIS_STATEIMAGEMASK) >> 12;
}

int row_at(HWND list, POINT at) noexcept
{
    LVHITTESTINFO hit = {};
    hit.pt = at;
    return ListView_HitTest(list, &hit);
}

int clamped(size_t count) noexcept
{
    return static_cast<int>(std::min<size_t>(count, INT_MAX));
}

struct loading_scope {
    explicit loading_scope(bool& flag)
        : flag_(flag)
    {
        flag_ = true;
    }
    ~loading_scope() { flag_ = false; }
    loading_scope(const loading_scope&) = delete;
    loading_scope& operator=(const loading_scope&) = delete;
    bool& flag_;
};

// Nothing where the main thread uses no COM or the system has none of this.
template <class Use>
void with_annotations(Use&& use) noexcept
{
    IAccPropServices* services = nullptr;
    if (FAILED(CoCreateInstance(CLSID_AccPropServices, nullptr, CLSCTX_INPROC_SERVER, IID_IAccPropServices,
                                reinterpret_cast<void**>(&services))))
        return;
    use(*services);
    services->Release();
}

} // namespace

list_control::~list_control()
{
    if (list_)
        RemoveWindowSubclass(list_, &procedure, subclass_id);
}

void list_control::attach(HWND dialog, int id, kind what, const wchar_t* name, int width,
                          const list_source& source, list_events events)
{
    kind_ = what;
    width_ = width;
    source_ = &source;
    events_ = std::move(events);
    const HWND given = GetDlgItem(dialog, id);
    if (!given)
        throw exception_win32(GetLastError());
    if (kind_ == kind::owner_data)
        take_place_of(given);
    else
        list_ = given;
    if (!SetWindowSubclass(list_, &procedure, subclass_id, reinterpret_cast<DWORD_PTR>(this)))
        throw exception_win32(ERROR_NOT_ENOUGH_MEMORY);

    const DWORD boxes = kind_ == kind::check_boxes ? DWORD{LVS_EX_CHECKBOXES} : 0;
    ListView_SetExtendedListViewStyle(
        list_, static_cast<LPARAM>(LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | boxes));
    LVCOLUMNW column = {};
    column.mask = LVCF_FMT | LVCF_WIDTH;
    column.fmt = LVCFMT_LEFT;
    if (ListView_InsertColumn(list_, 0, &column) != 0)
        throw exception_win32(ERROR_NOT_ENOUGH_MEMORY);
    fit_column();
    dress_list_view(list_);
    make_tooltip();
    name_for_accessibility(name);
}

// An owner-data list is one from its creation on.
void list_control::take_place_of(HWND placeholder)
{
    const HWND dialog = GetParent(placeholder);
    RECT area = {};
    GetWindowRect(placeholder, &area);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&area), 2);
    const auto style = static_cast<DWORD>(GetWindowLongW(placeholder, GWL_STYLE));
    const auto more = static_cast<DWORD>(GetWindowLongW(placeholder, GWL_EXSTYLE));
    const auto id = GetWindowLongPtrW(placeholder, GWLP_ID);
    const bool focused = GetFocus() == placeholder;
    const common_controls_scope controls;
    const HWND made = CreateWindowExW(more, WC_LISTVIEWW, L"", style | LVS_OWNERDATA, area.left, area.top,
                                      area.right - area.left, area.bottom - area.top, dialog,
                                      reinterpret_cast<HMENU>(id), own_module(), nullptr);
    if (!made)
        throw exception_win32(GetLastError());
    // Behind the placeholder: the order of the windows is the order of Tab.
    SetWindowPos(made, placeholder, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    SendMessageW(made, WM_SETFONT, static_cast<WPARAM>(SendMessageW(placeholder, WM_GETFONT, 0, 0)), FALSE);
    DestroyWindow(placeholder);
    if (focused)
        SetFocus(made);
    list_ = made;
}

// The platform's own tooltips for cut texts depend on the version of the list view.
void list_control::make_tooltip()
{
    const common_controls_scope controls;
    tooltip_ =
        CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_NOPREFIX | TTS_ALWAYSTIP, 0,
                        0, 0, 0, list_, nullptr, own_module(), nullptr);
    if (!tooltip_)
        return; // a convenience
    TTTOOLINFOW tool = {};
    tool.cbSize = TTTOOLINFOW_V2_SIZE; // any version of the controls takes it
    tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tool.hwnd = list_;
    tool.uId = reinterpret_cast<UINT_PTR>(list_);
    tool.lpszText = LPSTR_TEXTCALLBACKW;
    SendMessageW(tooltip_, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    SendMessageW(tooltip_, WM_SETFONT, static_cast<WPARAM>(SendMessageW(list_, WM_GETFONT, 0, 0)), FALSE);
    SendMessageW(tooltip_, TTM_SETMAXTIPWIDTH, 0, scaled(list_, 600));
}

// A list has no text of its own, and the label before it in the dialog need not be its label.
void list_control::name_for_accessibility(const wchar_t* name) noexcept
{
    SetWindowTextW(list_, name);
    with_annotations([&](IAccPropServices& services) {
        services.SetHwndPropStr(list_, static_cast<DWORD>(OBJID_CLIENT), CHILDID_SELF, PROPID_ACC_NAME, name);
    });
}

void list_control::fit_column() noexcept
{
    if (!list_)
        return;
    RECT client = {};
    GetClientRect(list_, &client);
    const int width = width_ != 0 ? dialog_units(GetParent(list_), width_) : static_cast<int>(client.right);
    ListView_SetColumnWidth(list_, 0, width);
}

void list_control::reload()
{
    if (!list_)
        return;
    const loading_scope scope(loading_);
    ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
    const int count = clamped(source_->row_count());
    if (kind_ == kind::owner_data) {
        ListView_SetItemCountEx(list_, count, 0);
        InvalidateRect(list_, nullptr, TRUE);
        return;
    }
    ListView_DeleteAllItems(list_);
    for (int row = 0; row < count; ++row) {
        std::wstring text = win::to_utf16(source_->row_text(static_cast<size_t>(row)));
        LVITEMW item = {};
        item.mask = LVIF_TEXT;
        item.iItem = row;
        item.pszText = text.data();
        ListView_InsertItem(list_, &item);
        ListView_SetCheckState(list_, row, source_->is_row_ticked(static_cast<size_t>(row)));
    }
}

std::optional<size_t> list_control::selected() const noexcept
{
    const int row = list_ ? ListView_GetNextItem(list_, -1, LVNI_SELECTED) : -1;
    return row < 0 ? std::nullopt : std::optional<size_t>(static_cast<size_t>(row));
}

bool list_control::on_notify(NMHDR& header)
{
    if (!list_ || header.hwndFrom != list_)
        return false;
    switch (header.code) {
    case LVN_GETDISPINFOW: {
        LVITEMW& wanted = reinterpret_cast<NMLVDISPINFOW&>(header).item;
        const auto row = static_cast<size_t>(wanted.iItem);
        if ((wanted.mask & LVIF_TEXT) && wanted.pszText && wanted.cchTextMax > 0) {
            cell_text_ = row < source_->row_count() ? win::to_utf16(source_->row_text(row)) : std::wstring();
            wanted.pszText = cell_text_.data();
        }
        break;
    }
    case LVN_ITEMCHANGED: {
        if (loading_)
            break;
        const NMLISTVIEW change = reinterpret_cast<const NMLISTVIEW&>(header);
        if (!(change.uChanged & LVIF_STATE))
            break;
        const UINT before = tick_of(change.uOldState), after = tick_of(change.uNewState);
        const bool ticks = kind_ == kind::check_boxes && before != 0 && after != 0 && before != after;
        if ((change.uOldState ^ change.uNewState) & LVIS_SELECTED) {
            // A dialog does one or the other in an event, and may be gone after it.
            if (const auto report = events_.on_selection)
                report();
        } else if (ticks && change.iItem >= 0) {
            tick(change.iItem, after == 2);
        }
        break;
    }
    case NM_CUSTOMDRAW:
        SetWindowLongPtrW(GetParent(list_), DWLP_MSGRESULT,
                          draw_selection(reinterpret_cast<NMLVCUSTOMDRAW&>(header)));
        break;
    case LVN_ODSTATECHANGED:
        if (const auto report = events_.on_selection; report && !loading_)
            report();
        break;
    case NM_RETURN:
        if (const auto row = selected())
            activate(*row);
        break;
    case NM_DBLCLK: {
        const POINT at = reinterpret_cast<const NMITEMACTIVATE&>(header).ptAction;
        LVHITTESTINFO hit = {};
        hit.pt = at;
        const int row = ListView_HitTest(list_, &hit);
        if (row >= 0 && !(hit.flags & LVHT_ONITEMSTATEICON))
            activate(static_cast<size_t>(row));
        break;
    }
    default:
        break;
    }
    return true;
}

// The platform's own selection is made for a light list.
LRESULT list_control::draw_selection(NMLVCUSTOMDRAW& drawing) const
{
    if (!is_dark())
        return CDRF_DODEFAULT;
    if (drawing.nmcd.dwDrawStage == CDDS_PREPAINT)
        return CDRF_NOTIFYITEMDRAW;
    const auto row = static_cast<int>(drawing.nmcd.dwItemSpec);
    if (drawing.nmcd.dwDrawStage != CDDS_ITEMPREPAINT ||
        !(ListView_GetItemState(list_, row, LVIS_SELECTED) & LVIS_SELECTED))
        return CDRF_DODEFAULT;
    drawing.nmcd.uItemState &= ~UINT{CDIS_SELECTED};
    drawing.clrText = current_colours().selected_text;
    drawing.clrTextBk = current_colours().selected_background;
    return CDRF_NEWFONT;
}

void list_control::tick(int row, bool ticked)
{
    const auto report = events_.on_tick;
    if (!report)
        return;
    try {
        report(static_cast<size_t>(row), ticked);
    } catch (...) {
        // It did not come about, so it must not look so.
        const loading_scope scope(loading_);
        ListView_SetCheckState(list_, row, !ticked);
        throw;
    }
}

void list_control::activate(size_t row)
{
    if (const auto report = events_.on_activate)
        report(row);
}

bool list_control::is_cut(int row) const
{
    std::wstring text = win::to_utf16(source_->row_text(static_cast<size_t>(row)));
    RECT client = {}, cell = {};
    GetClientRect(list_, &client);
    ListView_GetItemRect(list_, row, &cell, LVIR_LABEL);
    const int needed = ListView_GetStringWidth(list_, text.c_str()) + scaled(list_, cell_margin);
    return needed > std::min(cell.right, client.right) - cell.left;
}

// One tool covers the whole list: a tooltip of one row must not stay for the next.
void list_control::on_mouse_move(POINT at) noexcept
{
    const int row = row_at(list_, at);
    if (row == tooltip_row_)
        return;
    tooltip_row_ = row;
    if (tooltip_)
        SendMessageW(tooltip_, TTM_POP, 0, 0);
}

void list_control::show_tooltip_text(NMTTDISPINFOW& wanted)
{
    POINT at = {};
    GetCursorPos(&at);
    ScreenToClient(list_, &at);
    const int row = row_at(list_, at);
    tooltip_text_.clear();
    if (row >= 0 && static_cast<size_t>(row) < source_->row_count() && is_cut(row))
        tooltip_text_ = win::to_utf16(source_->row_text(static_cast<size_t>(row)));
    wanted.lpszText = tooltip_text_.data();
}

LRESULT CALLBACK list_control::procedure(HWND window, UINT message, WPARAM first, LPARAM second, UINT_PTR,
                                         DWORD_PTR object)
{
    auto* const self = reinterpret_cast<list_control*>(object);
    try {
        switch (message) {
        case WM_GETDLGCODE:
            // Enter is the list's, not the default button's.
            if (first == VK_RETURN && second)
                return DefSubclassProc(window, message, first, second) | DLGC_WANTMESSAGE;
            break;
        case WM_CHAR:
            if (first == VK_RETURN)
                return 0;
            break;
        case WM_MOUSEMOVE:
            self->on_mouse_move({GET_X_LPARAM(second), GET_Y_LPARAM(second)});
            break;
        case WM_NOTIFY: {
            auto& header = *reinterpret_cast<NMHDR*>(second);
            if (self->tooltip_ && header.hwndFrom == self->tooltip_ && header.code == TTN_GETDISPINFOW) {
                self->show_tooltip_text(reinterpret_cast<NMTTDISPINFOW&>(header));
                return 0;
            }
            break;
        }
        case WM_NCCALCSIZE:
            // The column may be wider than the list by its border: no reason for a scroll bar.
            if (const LONG style = GetWindowLongW(window, GWL_STYLE); style & WS_HSCROLL)
                SetWindowLongW(window, GWL_STYLE, style & ~WS_HSCROLL);
            break;
        case WM_THEMECHANGED: {
            const LRESULT result = DefSubclassProc(window, message, first, second);
            dress_list_view(window);
            return result;
        }
        case WM_SIZE: // also when a scroll bar came, or went
        case WM_DPICHANGED_AFTERPARENT: {
            const LRESULT result = DefSubclassProc(window, message, first, second);
            self->fit_column();
            return result;
        }
        case WM_NCDESTROY:
            RemoveWindowSubclass(window, &procedure, subclass_id);
            // The system keeps annotations, also of windows that are gone.
            with_annotations([&](IAccPropServices& services) {
                services.ClearHwndProps(window, static_cast<DWORD>(OBJID_CLIENT), CHILDID_SELF,
                                        &PROPID_ACC_NAME, 1);
            });
            self->list_ = self->tooltip_ = nullptr; // an owned window goes with its owner
            break;
        default:
            break;
        }
    } catch (...) {
        // A text that could not be had; the message is done as far as it goes.
    }
    return DefSubclassProc(window, message, first, second);
}

} // namespace toolkit
