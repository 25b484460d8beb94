#include "vsthost/editor/editor_window.h"

#include "vsthost/editor/dpi.h"
#include "vsthost/editor/key_codes.h"
#include "vsthost/run_to_the_end.h"
#include "win/cascade.h"
#include "win/error_text.h"
#include "win/utf.h"

#include <algorithm>

namespace {

constexpr wchar_t class_name[] = L"qvxEffectEditor";
constexpr UINT_PTR timer_id = 1;
constexpr UINT tick_period = 20; // ms
constexpr int largest_side = 16384;
constexpr ULONGLONG settling_time = 300; // ms without another size
constexpr vsthost::editor_size unknown_size{400, 300};

bool is_down(int key)
{
    return GetKeyState(key) < 0;
}

// Where a window of a size covers the least of `owner`: on its right rather than on its left, below or above.
// Where that makes no difference, in its middle.
POINT beside(const RECT& owner, SIZE size, const RECT& screen)
{
    const POINT places[] = {
        {(owner.left + owner.right - size.cx) / 2, (owner.top + owner.bottom - size.cy) / 2},
        {owner.right, owner.top},
        {owner.left - size.cx, owner.top},
        {owner.left, owner.bottom},
        {owner.left, owner.top - size.cy},
    };
    POINT best{};
    int64_t least = INT64_MAX;
    for (POINT at : places) {
        at.x = std::max(std::min(at.x, screen.right - size.cx), screen.left);
        at.y = std::max(std::min(at.y, screen.bottom - size.cy), screen.top);
        const RECT there{at.x, at.y, at.x + size.cx, at.y + size.cy};
        RECT common{};
        IntersectRect(&common, &there, &owner);
        const int64_t covered = int64_t{common.right - common.left} * (common.bottom - common.top);
        if (covered < least) {
            least = covered;
            best = at;
        }
    }
    return best;
}

} // namespace

vsthost::editor_window::editor_window(HWND owner, const std::string& title, events what)
    : owner_(IsWindow(owner) ? GetAncestor(owner, GA_ROOT) : nullptr)
    , events_(std::move(what))
{
    WNDCLASSEXW kind{};
    kind.cbSize = sizeof kind;
    kind.lpfnWndProc = on_message;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.hIcon = LoadIconW(kind.hInstance, MAKEINTRESOURCEW(1)); // the program's own
    kind.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    kind.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    kind.lpszClassName = class_name;
    RegisterClassExW(&kind);
    const DWORD style =
        WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN | (owner_ == nullptr ? WS_MINIMIZEBOX : WS_POPUP);
    CreateWindowExW(owner_ == nullptr ? WS_EX_APPWINDOW : 0, class_name, win::to_utf16(title).c_str(), style,
                    0, 0, 0, 0, owner_, nullptr, kind.hInstance, this);
    if (window_ == nullptr)
        throw fatal_error(exit_code::internal,
                          "the system makes no window for the editor: " + win::error_text(GetLastError()));
    // Owner and owned would share one input queue, and an editor that hangs would take the player's keyboard
    // and mouse with it.
    if (owner_ != nullptr)
        AttachThreadInput(GetCurrentThreadId(), GetWindowThreadProcessId(owner_, nullptr), FALSE);
    SetTimer(window_, timer_id, tick_period, nullptr);
}

vsthost::editor_window::~editor_window()
{
    close_editor();
    if (window_ != nullptr)
        DestroyWindow(window_);
}

bool vsthost::editor_window::show(std::unique_ptr<effect_editor> editor)
{
    editor_ = std::move(editor);
    editor_->set_scale(dpi_of(window_) / static_cast<double>(USER_DEFAULT_SCREEN_DPI));
    set_style();
    set_client(editor_->size().value_or(unknown_size));
    if (!editor_->open(window_)) {
        editor_.reset();
        return false;
    }
    set_style(); // some know only now
    if (const std::optional<editor_size> size = editor_->size())
        set_client(*size);
    if (IsWindowVisible(window_)) // another editor of the effect
        return true;
    place();
    // The first wish to show a window is overruled by the hidden state that the player starts this process
    // with; the second is not.
    ShowWindow(window_, SW_SHOWNORMAL);
    SetWindowPos(window_, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    SetForegroundWindow(window_);
    focus_editor();
    return true;
}

void vsthost::editor_window::close_editor()
{
    focus_ = nullptr;
    if (!editor_)
        return;
    editor_->close();
    editor_.reset();
}

void vsthost::editor_window::hide()
{
    ShowWindow(window_, SW_HIDE);
}

void vsthost::editor_window::set_style()
{
    const LONG_PTR by_user = WS_THICKFRAME | WS_MAXIMIZEBOX;
    const LONG_PTR before = GetWindowLongPtrW(window_, GWL_STYLE);
    const LONG_PTR now = editor_->can_resize() ? before | by_user : before & ~by_user;
    if (now == before)
        return;
    RECT client{};
    GetClientRect(window_, &client);
    SetWindowLongPtrW(window_, GWL_STYLE, now);
    set_client({client.right, client.bottom});
}

void vsthost::editor_window::set_client(editor_size wanted)
{
    const SIZE outside = window_size(
        window_, {std::clamp(wanted.width, 1, largest_side), std::clamp(wanted.height, 1, largest_side)});
    sizing_ = true;
    SetWindowPos(window_, nullptr, 0, 0, outside.cx, outside.cy,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
    sizing_ = false;
}

void vsthost::editor_window::resize(editor_size wanted)
{
    RECT client{};
    GetClientRect(window_, &client);
    if (client.right != wanted.width || client.bottom != wanted.height)
        set_client(wanted);
    if (editor_)
        editor_->resized(wanted);
}

// Beside the owner, on its screen, with the title bar not on that of another editor.
void vsthost::editor_window::place()
{
    RECT own{};
    GetWindowRect(window_, &own);
    const SIZE size{own.right - own.left, own.bottom - own.top};
    MONITORINFO screen{};
    screen.cbSize = sizeof screen;
    GetMonitorInfoW(MonitorFromWindow(owner_ != nullptr ? owner_ : window_, MONITOR_DEFAULTTONEAREST),
                    &screen);
    RECT around = screen.rcWork;
    if (owner_ != nullptr && IsWindowVisible(owner_) && !IsIconic(owner_))
        GetWindowRect(owner_, &around);
    const POINT first = beside(around, size, screen.rcWork);
    const bool is_left_of_owner = first.x < around.left;
    const POINT at = win::cascaded(window_, first, screen.rcWork, is_left_of_owner);
    SetWindowPos(window_, nullptr, at.x, at.y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void vsthost::editor_window::focus_editor()
{
    if (!editor_)
        return;
    HWND wanted = focus_ != nullptr && IsChild(window_, focus_) ? focus_ : GetWindow(window_, GW_CHILD);
    if (wanted != nullptr)
        SetFocus(wanted);
    editor_->focused(true);
}

void vsthost::editor_window::prepare(MSG& message) const
{
    // The wheel is the window's under the pointer, as users expect, not the focus'.
    if (message.message != WM_MOUSEWHEEL && message.message != WM_MOUSEHWHEEL)
        return;
    const POINT at{static_cast<short>(LOWORD(message.lParam)), static_cast<short>(HIWORD(message.lParam))};
    const HWND under = WindowFromPoint(at);
    const bool is_ours = message.hwnd == window_ || IsChild(window_, message.hwnd);
    if (is_ours && IsChild(window_, under))
        message.hwnd = under;
}

void vsthost::editor_window::idle()
{
    if (editor_)
        editor_->idle();
}

// Between this and the loop lies the effect, which catches nothing of ours.
void vsthost::editor_window::idle_inside()
{
    or_end_process([this] { events_.tick(); });
}

void vsthost::editor_window::renew()
{
    if (editor_)
        editor_->renew();
}

// Keys come here when no window of the editor has the focus, or none that takes it.
bool vsthost::editor_window::on_key(bool down, WPARAM key)
{
    if (!editor_)
        return false;
    key_press press;
    press.down = down;
    press.code = effect_key_code(static_cast<unsigned>(key));
    press.shift = is_down(VK_SHIFT);
    press.alternate = is_down(VK_MENU);
    press.control = is_down(VK_CONTROL);
    MSG character{};
    if (down && PeekMessageW(&character, window_, WM_CHAR, WM_CHAR, PM_REMOVE))
        press.character = static_cast<uint16_t>(character.wParam);
    else if (!down || press.code == 0)
        press.character = static_cast<uint16_t>(MapVirtualKeyW(static_cast<UINT>(key), MAPVK_VK_TO_CHAR));
    return editor_->key(press);
}

void vsthost::editor_window::on_sizing(WPARAM edge, RECT& wanted)
{
    const SIZE frame = window_size(window_, {0, 0});
    const editor_size inside{static_cast<int>(wanted.right - wanted.left - frame.cx),
                             static_cast<int>(wanted.bottom - wanted.top - frame.cy)};
    const editor_size allowed = editor_->constrained(inside);
    const LONG width = allowed.width + frame.cx;
    const LONG height = allowed.height + frame.cy;
    const bool from_left = edge == WMSZ_LEFT || edge == WMSZ_TOPLEFT || edge == WMSZ_BOTTOMLEFT;
    const bool from_top = edge == WMSZ_TOP || edge == WMSZ_TOPLEFT || edge == WMSZ_TOPRIGHT;
    if (from_left)
        wanted.left = wanted.right - width;
    else
        wanted.right = wanted.left + width;
    if (from_top)
        wanted.top = wanted.bottom - height;
    else
        wanted.bottom = wanted.top + height;
}

// Window managers and programs that arrange windows set sizes without a word beforehand. One that insists has
// its way. Not as a limit of the window: where the manager is another system's, that leaves the two of
// different opinions.
void vsthost::editor_window::correct_size()
{
    if (sized_at_ == 0 || GetTickCount64() - sized_at_ < settling_time)
        return;
    sized_at_ = 0;
    if (!editor_ || !editor_->can_resize() || IsIconic(window_))
        return;
    RECT client{};
    GetClientRect(window_, &client);
    const editor_size now{static_cast<int>(client.right), static_cast<int>(client.bottom)};
    const editor_size least = editor_->constrained({1, 1});
    const bool fits = now.width >= least.width && now.height >= least.height;
    const bool insisted_on = now.width == too_small_.width && now.height == too_small_.height;
    too_small_ = fits ? editor_size{} : now;
    if (!fits && !insisted_on)
        resize({std::max(now.width, least.width), std::max(now.height, least.height)});
}

void vsthost::editor_window::on_dpi_changed(const RECT& suggested)
{
    if (!editor_)
        return;
    editor_->set_scale(dpi_of(window_) / static_cast<double>(USER_DEFAULT_SCREEN_DPI));
    if (editor_->can_resize()) {
        SetWindowPos(window_, nullptr, suggested.left, suggested.top, suggested.right - suggested.left,
                     suggested.bottom - suggested.top, SWP_NOZORDER | SWP_NOACTIVATE);
        return;
    }
    SetWindowPos(window_, nullptr, suggested.left, suggested.top, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    if (const std::optional<editor_size> size = editor_->size())
        set_client(*size); // the frame has another width now, if nothing else
}

void vsthost::editor_window::on_activate(bool active)
{
    if (active) {
        focus_editor();
    } else if (editor_) {
        const HWND focus = GetFocus();
        if (IsChild(window_, focus))
            focus_ = focus;
        editor_->focused(false);
    }
}

LRESULT vsthost::editor_window::handle(UINT message, WPARAM wide, LPARAM large)
{
    switch (message) {
    case WM_TIMER:
        if (wide == timer_id) {
            events_.tick();
            correct_size();
        }
        return 0;
    case WM_CLOSE:
        events_.close_wanted();
        return 0;
    case WM_ENDSESSION:
        if (wide != FALSE)
            events_.logged_off();
        return 0;
    case WM_SIZE:
        if (editor_ && !sizing_ && wide != SIZE_MINIMIZED) {
            sized_at_ = GetTickCount64();
            editor_->resized(editor_->constrained({LOWORD(large), HIWORD(large)}));
        }
        return 0;
    case WM_SIZING:
        if (!editor_)
            break;
        on_sizing(wide, *reinterpret_cast<RECT*>(large));
        return TRUE;
    case WM_GETMINMAXINFO:
        // An editor may be larger than the screen.
        reinterpret_cast<MINMAXINFO*>(large)->ptMaxTrackSize = {largest_side, largest_side};
        return 0;
    case WM_DPICHANGED:
        on_dpi_changed(*reinterpret_cast<const RECT*>(large));
        return 0;
    case WM_ACTIVATE:
        on_activate(LOWORD(wide) != WA_INACTIVE);
        return 0;
    case WM_KEYDOWN:
    case WM_KEYUP:
        if (on_key(message == WM_KEYDOWN, wide))
            return 0;
        break;
    case WM_MOUSEWHEEL:
        if (editor_)
            editor_->wheel(static_cast<short>(HIWORD(wide)) / static_cast<double>(WHEEL_DELTA));
        return 0;
    case WM_DESTROY:
        // With its owner: the last moment at which the editor's windows are there.
        close_editor();
        window_ = nullptr;
        events_.close_wanted();
        return 0;
    default:
        break;
    }
    return DefWindowProcW(window_, message, wide, large);
}

LRESULT CALLBACK vsthost::editor_window::on_message(HWND window, UINT message, WPARAM wide, LPARAM large)
{
    if (message == WM_NCCREATE) {
        auto* const created =
            static_cast<editor_window*>(reinterpret_cast<const CREATESTRUCTW*>(large)->lpCreateParams);
        created->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(created));
    }
    auto* const self = reinterpret_cast<editor_window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr || self->window_ != window)
        return DefWindowProcW(window, message, wide, large);
    return or_end_process([&] { return self->handle(message, wide, large); });
}
