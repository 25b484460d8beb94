// What is shown; parameter_view_input.cpp has what the user does with it.

#include "vsthost/editor/parameter_view.h"

#include "win/utf.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr wchar_t class_name[] = L"qvxParameterList";
constexpr unsigned rounds_between_looks = 3; // about 60 ms

// In dots at 96 an inch.
constexpr int margin = 8;
constexpr int line_height = 24;
constexpr int usual_width = 560;
constexpr int least_width = 320;
constexpr int least_height = 160;
constexpr int value_width = 120;
constexpr int label_width = 56;
constexpr int row_height = 22;

} // namespace

vsthost::parameter_view::parameter_view(parameter_source& source)
    : model_(source)
{
}

vsthost::parameter_view::~parameter_view()
{
    close();
}

std::unique_ptr<vsthost::effect_editor> vsthost::make_parameter_view(parameter_source& source)
{
    return std::make_unique<parameter_view>(source);
}

std::string vsthost::parameter_view::text_of(HWND control)
{
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(control)) + 1, L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(control, text.data(), static_cast<int>(text.size()))));
    return win::to_utf8(text);
}

int vsthost::parameter_view::scaled(int plain) const
{
    return static_cast<int>(std::lround(plain * scale_));
}

std::optional<vsthost::editor_size> vsthost::parameter_view::size()
{
    if (window_ != nullptr) {
        RECT now{};
        GetClientRect(window_, &now);
        return editor_size{now.right, now.bottom};
    }
    const auto rows = static_cast<int>(std::clamp<size_t>(model_.total() + 2, 4, 16)); // with the header
    return editor_size{scaled(usual_width), scaled(2 * line_height + 3 * margin + rows * (row_height + 1))};
}

vsthost::editor_size vsthost::parameter_view::constrained(editor_size wanted)
{
    return {std::max(wanted.width, scaled(least_width)), std::max(wanted.height, scaled(least_height))};
}

void vsthost::parameter_view::set_scale(double scale)
{
    scale_ = scale;
    if (window_ == nullptr)
        return;
    make_font();
    RECT now{};
    GetClientRect(window_, &now);
    lay_out(now.right, now.bottom);
}

bool vsthost::parameter_view::open(void* window)
{
    const INITCOMMONCONTROLSEX controls{sizeof controls, ICC_LISTVIEW_CLASSES};
    InitCommonControlsEx(&controls);
    WNDCLASSEXW kind{};
    kind.cbSize = sizeof kind;
    kind.lpfnWndProc = on_message;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    kind.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    kind.lpszClassName = class_name;
    RegisterClassExW(&kind); // again after a reload: it is there already
    create_controls(static_cast<HWND>(window));
    return window_ != nullptr;
}

void vsthost::parameter_view::create_controls(HWND parent)
{
    RECT all{};
    GetClientRect(parent, &all);
    const HINSTANCE module = GetModuleHandleW(nullptr);
    window_ = CreateWindowExW(WS_EX_CONTROLPARENT, class_name, L"", WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN,
                              0, 0, all.right, all.bottom, parent, nullptr, module, this);
    if (window_ == nullptr)
        return;
    const auto make = [&](const wchar_t* kind, DWORD extended, DWORD style, WORD id, const wchar_t* text) {
        const auto menu = reinterpret_cast<HMENU>(uintptr_t{id});
        return CreateWindowExW(extended, kind, text, WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, window_, menu,
                               module, nullptr);
    };
    if (model_.total() == 0) {
        hint_ = make(L"STATIC", 0, SS_LEFT, 0, L"This effect has neither an editor nor parameters.");
    } else {
        label_ = make(L"STATIC", 0, SS_LEFT | SS_CENTERIMAGE, 0, L"Search:");
        search_ = make(L"EDIT", WS_EX_CLIENTEDGE, WS_TABSTOP | ES_AUTOHSCROLL, search_id, L"");
        SetWindowSubclass(search_, on_field_message, subclass_id, reinterpret_cast<DWORD_PTR>(this));
        list_ = make(WC_LISTVIEWW, WS_EX_CLIENTEDGE,
                     WS_TABSTOP | LVS_REPORT | LVS_OWNERDATA | LVS_SINGLESEL | LVS_SHOWSELALWAYS |
                         LVS_NOSORTHEADER,
                     list_id, L"Parameters");
        create_list(module);
        hint_ = make(L"STATIC", 0, SS_LEFT | SS_ENDELLIPSIS, 0,
                     L"Drag a bar; double-click it for the default; F2 to type a value");
    }
    make_font();
    lay_out(all.right, all.bottom);
}

void vsthost::parameter_view::create_list(HINSTANCE)
{
    ListView_SetExtendedListViewStyle(list_, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
    SetWindowSubclass(list_, on_list_message, subclass_id, reinterpret_cast<DWORD_PTR>(this));
    const wchar_t* const titles[] = {L"Parameter", L"", L"Value"};
    for (const int position : {name_column, bar_column, value_column}) {
        LVCOLUMNW about{};
        about.mask = LVCF_TEXT | LVCF_SUBITEM;
        about.pszText = const_cast<wchar_t*>(titles[position]);
        about.iSubItem = position;
        SendMessageW(list_, LVM_INSERTCOLUMNW, static_cast<WPARAM>(position),
                     reinterpret_cast<LPARAM>(&about));
    }
    show_rows();
}

void vsthost::parameter_view::make_font()
{
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    metrics.lfMessageFont.lfHeight = -scaled(12);
    const HFONT font = CreateFontIndirectW(&metrics.lfMessageFont);
    for (const HWND control : {label_, search_, list_, hint_, field_})
        if (control != nullptr)
            SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    if (font_ != nullptr)
        DeleteObject(font_);
    font_ = font;
    if (list_ == nullptr)
        return;
    // Rows are as high as their icons, and these have nothing else to be.
    const HIMAGELIST icons = ImageList_Create(1, scaled(row_height), ILC_COLOR, 1, 0);
    if (const HIMAGELIST old = ListView_SetImageList(list_, icons, LVSIL_SMALL))
        ImageList_Destroy(old);
}

void vsthost::parameter_view::lay_out(int width, int height)
{
    end_typing(true);
    SetWindowPos(window_, nullptr, 0, 0, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
    const int edge = scaled(margin);
    const int line = scaled(line_height);
    const int inside = width - 2 * edge;
    if (list_ == nullptr) {
        MoveWindow(hint_, edge, edge, inside, line, TRUE);
        return;
    }
    const int label = scaled(label_width);
    MoveWindow(label_, edge, edge, label, line, TRUE);
    MoveWindow(search_, edge + label, edge, inside - label, line, TRUE);
    const int top = edge + line + edge;
    const int bottom = height - line;
    MoveWindow(list_, edge, top, inside, std::max(bottom - top - edge / 2, 0), TRUE);
    MoveWindow(hint_, edge, bottom, inside, line, TRUE);
    const int room = inside - GetSystemMetrics(SM_CXVSCROLL) - 4 - scaled(value_width);
    ListView_SetColumnWidth(list_, name_column, room / 2);
    ListView_SetColumnWidth(list_, bar_column, room - room / 2);
    ListView_SetColumnWidth(list_, value_column, scaled(value_width));
}

void vsthost::parameter_view::close()
{
    if (window_ != nullptr)
        DestroyWindow(window_);
    window_ = label_ = search_ = list_ = hint_ = field_ = nullptr;
    if (font_ != nullptr)
        DeleteObject(font_);
    font_ = nullptr;
}

void vsthost::parameter_view::resized(editor_size now)
{
    if (window_ != nullptr)
        lay_out(now.width, now.height);
}

void vsthost::parameter_view::focused(bool has_focus)
{
    if (has_focus && list_ != nullptr && !IsChild(window_, GetFocus()))
        SetFocus(list_);
}

void vsthost::parameter_view::renew()
{
    if (list_ == nullptr)
        return;
    const auto parameter_in = [this](std::optional<size_t> row) {
        return row && *row < model_.count() ? std::optional(model_.at(*row).about.id) : std::nullopt;
    };
    const auto typed = parameter_in(typed_row_), dragged = parameter_in(dragged_row_);
    model_.reload();
    // What the user is at goes on: some effects say with every edit that their latency changed.
    if (parameter_in(typed_row_) != typed)
        end_typing(false);
    if (parameter_in(dragged_row_) != dragged)
        dragged_row_.reset();
    show_rows();
}

void vsthost::parameter_view::idle()
{
    if (list_ == nullptr || ++idle_rounds_ % rounds_between_looks != 0)
        return;
    const auto first = static_cast<size_t>(std::max(ListView_GetTopIndex(list_), 0));
    const size_t last = first + static_cast<size_t>(std::max(ListView_GetCountPerPage(list_), 0)) + 1;
    if (model_.refresh(first, last))
        ListView_RedrawItems(list_, static_cast<int>(first), static_cast<int>(last));
}

void vsthost::parameter_view::search()
{
    end_typing(true);
    model_.search(text_of(search_));
    show_rows();
}

void vsthost::parameter_view::show_rows()
{
    ListView_SetItemCountEx(list_, static_cast<int>(model_.count()), 0);
    if (model_.count() != 0 && !selected())
        ListView_SetItemState(list_, 0, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    InvalidateRect(list_, nullptr, TRUE);
}

std::optional<size_t> vsthost::parameter_view::selected() const
{
    const int row = ListView_GetNextItem(list_, -1, LVNI_SELECTED);
    if (row < 0 || static_cast<size_t>(row) >= model_.count())
        return std::nullopt;
    return static_cast<size_t>(row);
}

RECT vsthost::parameter_view::cell(size_t row, column which) const
{
    RECT place{};
    ListView_GetSubItemRect(list_, static_cast<int>(row), which, LVIR_BOUNDS, &place);
    return place;
}

void vsthost::parameter_view::draw_bar(HDC on, size_t row) const
{
    const parameter_info& about = model_.at(row).about;
    RECT place = cell(row, bar_column);
    InflateRect(&place, -scaled(bar_edge), -static_cast<int>(place.bottom - place.top) / 4);
    if (place.right <= place.left)
        return;
    FillRect(on, &place, GetSysColorBrush(COLOR_WINDOW));
    FrameRect(on, &place, GetSysColorBrush(COLOR_BTNSHADOW));
    InflateRect(&place, -2, -2); // a light edge, or the bar of the selected row has none
    place.right = place.left + static_cast<LONG>(std::lround((place.right - place.left) * about.value));
    FillRect(on, &place, GetSysColorBrush(about.read_only ? COLOR_BTNSHADOW : COLOR_HIGHLIGHT));
}

LRESULT vsthost::parameter_view::on_custom_draw(const NMLVCUSTOMDRAW& draw)
{
    switch (draw.nmcd.dwDrawStage) {
    case CDDS_PREPAINT:
        return CDRF_NOTIFYITEMDRAW;
    case CDDS_ITEMPREPAINT:
        return CDRF_NOTIFYPOSTPAINT;
    case CDDS_ITEMPOSTPAINT:
        if (draw.nmcd.dwItemSpec < model_.count())
            draw_bar(draw.nmcd.hdc, draw.nmcd.dwItemSpec);
        return CDRF_DODEFAULT;
    default:
        return CDRF_DODEFAULT;
    }
}

LRESULT vsthost::parameter_view::on_notify(const NMHDR& what)
{
    if (what.hwndFrom != list_ || list_ == nullptr)
        return 0;
    switch (what.code) {
    case NM_CUSTOMDRAW:
        return on_custom_draw(reinterpret_cast<const NMLVCUSTOMDRAW&>(what));
    case LVN_GETDISPINFOW: {
        const LVITEMW& item = reinterpret_cast<const NMLVDISPINFOW&>(what).item;
        const auto row = static_cast<size_t>(item.iItem);
        if ((item.mask & LVIF_TEXT) == 0 || item.cchTextMax <= 0 || item.iItem < 0 || row >= model_.count())
            return 0;
        const parameter_model::row& shown = model_.at(row);
        const std::wstring text = item.iSubItem == name_column    ? win::to_utf16(shown.about.name)
                                  : item.iSubItem == value_column ? win::to_utf16(shown.text)
                                                                  : std::wstring();
        lstrcpynW(item.pszText, text.c_str(), item.cchTextMax);
        return 0;
    }
    case LVN_BEGINSCROLL:
        end_typing(true);
        return 0;
    default:
        return 0;
    }
}
