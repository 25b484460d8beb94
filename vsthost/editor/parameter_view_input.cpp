// What the user does with the list of parameters.

#include "vsthost/editor/parameter_view.h"

#include "vsthost/run_to_the_end.h"
#include "win/utf.h"

#include <utility>

namespace {

bool is_down(int key)
{
    return GetKeyState(key) < 0;
}

} // namespace

void vsthost::parameter_view::drag_to(int x)
{
    const RECT place = cell(*dragged_row_, bar_column);
    const int edge = scaled(bar_edge);
    const double width = place.right - place.left - 2 * edge;
    if (width <= 0)
        return;
    model_.set(*dragged_row_, (x - place.left - edge) / width);
    const int row = static_cast<int>(*dragged_row_);
    ListView_RedrawItems(list_, row, row);
}

bool vsthost::parameter_view::on_list_button(POINT at, bool is_double)
{
    end_typing(true);
    LVHITTESTINFO hit{};
    hit.pt = at;
    const auto found =
        static_cast<int>(SendMessageW(list_, LVM_SUBITEMHITTEST, 0, reinterpret_cast<LPARAM>(&hit)));
    if (found < 0 || static_cast<size_t>(found) >= model_.count())
        return false;
    const auto row = static_cast<size_t>(found);
    SetFocus(list_);
    ListView_SetItemState(list_, found, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    if (hit.iSubItem == value_column) {
        begin_typing(row);
    } else if (is_double) {
        model_.set_default(row);
        ListView_RedrawItems(list_, found, found);
    } else if (hit.iSubItem == bar_column) {
        SetCapture(list_);
        dragged_row_ = row;
        drag_to(at.x);
    }
    return true;
}

bool vsthost::parameter_view::on_list_key(WPARAM key)
{
    const std::optional<size_t> row = selected();
    if (key == VK_TAB || (key == 'F' && is_down(VK_CONTROL))) {
        SetFocus(search_);
        return true;
    }
    if (!row)
        return false;
    const double step = is_down(VK_SHIFT) ? 10.0 : is_down(VK_CONTROL) ? 0.1 : 1.0;
    switch (key) {
    case VK_LEFT:
        model_.nudge(*row, -step);
        break;
    case VK_RIGHT:
        model_.nudge(*row, step);
        break;
    case VK_DELETE:
        model_.set_default(*row);
        break;
    case VK_F2:
    case VK_RETURN:
        begin_typing(*row);
        return true;
    default:
        return false;
    }
    ListView_RedrawItems(list_, static_cast<int>(*row), static_cast<int>(*row));
    return true;
}

void vsthost::parameter_view::begin_typing(size_t row)
{
    end_typing(true);
    if (model_.at(row).about.read_only)
        return;
    ListView_EnsureVisible(list_, static_cast<int>(row), FALSE);
    const RECT place = cell(row, value_column);
    typed_row_ = row;
    field_ =
        CreateWindowExW(0, L"EDIT", win::to_utf16(model_.at(row).text).c_str(),
                        WS_CHILD | WS_VISIBLE | WS_BORDER | ES_AUTOHSCROLL, place.left, place.top,
                        place.right - place.left, place.bottom - place.top, list_,
                        reinterpret_cast<HMENU>(uintptr_t{field_id}), GetModuleHandleW(nullptr), nullptr);
    if (field_ == nullptr)
        return;
    SetWindowSubclass(field_, on_field_message, subclass_id, reinterpret_cast<DWORD_PTR>(this));
    SendMessageW(field_, WM_SETFONT, reinterpret_cast<WPARAM>(font_), FALSE);
    SendMessageW(field_, EM_SETSEL, 0, -1);
    SetFocus(field_);
}

void vsthost::parameter_view::end_typing(bool keep)
{
    if (field_ == nullptr)
        return;
    const HWND field = std::exchange(field_, nullptr); // its end takes the focus away, which leads here again
    const std::string text = text_of(field);
    if (keep && typed_row_ < model_.count() && text != model_.at(typed_row_).text &&
        !model_.type(typed_row_, text))
        MessageBeep(MB_ICONWARNING);
    const bool had_focus = GetFocus() == field;
    DestroyWindow(field);
    if (had_focus)
        SetFocus(list_);
    ListView_RedrawItems(list_, static_cast<int>(typed_row_), static_cast<int>(typed_row_));
}

LRESULT CALLBACK vsthost::parameter_view::on_message(HWND window, UINT message, WPARAM wide, LPARAM large)
{
    if (message == WM_NCCREATE) {
        const auto* const made = reinterpret_cast<const CREATESTRUCTW*>(large);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made->lpCreateParams));
    }
    auto* const self = reinterpret_cast<parameter_view*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    switch (message) {
    case WM_NOTIFY:
        return or_end_process([&] { return self->on_notify(*reinterpret_cast<const NMHDR*>(large)); });
    case WM_COMMAND:
        if (LOWORD(wide) == search_id && HIWORD(wide) == EN_CHANGE)
            or_end_process([&] { self->search(); });
        return 0;
    case WM_SETFOCUS:
        if (self->list_ != nullptr)
            SetFocus(self->list_);
        return 0;
    default:
        return DefWindowProcW(window, message, wide, large);
    }
}

LRESULT CALLBACK vsthost::parameter_view::on_list_message(HWND window, UINT message, WPARAM wide,
                                                          LPARAM large, UINT_PTR, DWORD_PTR context)
{
    auto& self = *reinterpret_cast<parameter_view*>(context);
    const auto result = or_end_process([&] { return self.on_list(message, wide, large); });
    return result ? *result : DefSubclassProc(window, message, wide, large);
}

std::optional<LRESULT> vsthost::parameter_view::on_list(UINT message, WPARAM wide, LPARAM large)
{
    const POINT at{static_cast<short>(LOWORD(large)), static_cast<short>(HIWORD(large))};
    switch (message) {
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
        if (on_list_button(at, message == WM_LBUTTONDBLCLK))
            return 0;
        break;
    case WM_MOUSEMOVE:
        if (dragged_row_) {
            drag_to(at.x);
            return 0;
        }
        break;
    case WM_LBUTTONUP:
        if (dragged_row_) {
            ReleaseCapture();
            return 0;
        }
        break;
    case WM_CAPTURECHANGED:
        dragged_row_.reset();
        break;
    case WM_KEYDOWN:
        if (on_list_key(wide))
            return 0;
        break;
    case WM_MOUSEWHEEL:
        end_typing(true);
        break;
    default:
        break;
    }
    return std::nullopt;
}

LRESULT CALLBACK vsthost::parameter_view::on_field_message(HWND window, UINT message, WPARAM wide,
                                                           LPARAM large, UINT_PTR, DWORD_PTR context)
{
    auto& self = *reinterpret_cast<parameter_view*>(context);
    const auto result = or_end_process([&] { return self.on_field(window, message, wide, large); });
    return result ? *result : DefSubclassProc(window, message, wide, large);
}

// Both the search field and the one for a value.
std::optional<LRESULT> vsthost::parameter_view::on_field(HWND field, UINT message, WPARAM wide, LPARAM large)
{
    const bool is_value = field == field_;
    switch (message) {
    case WM_KEYDOWN:
        if (wide == VK_RETURN || wide == VK_TAB || wide == VK_DOWN) {
            if (is_value)
                end_typing(true);
            else
                SetFocus(list_);
            return 0;
        }
        if (wide == VK_ESCAPE) {
            if (is_value)
                end_typing(false);
            else
                SetWindowTextW(field, L"");
            return 0;
        }
        break;
    case WM_CHAR: // these would beep
        if (wide == VK_RETURN || wide == VK_TAB || wide == VK_ESCAPE)
            return 0;
        break;
    case WM_KILLFOCUS:
        if (is_value) {
            const LRESULT result = DefSubclassProc(field, message, wide, large);
            end_typing(true);
            return result;
        }
        break;
    default:
        break;
    }
    return std::nullopt;
}
