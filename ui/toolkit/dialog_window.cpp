#include "ui/toolkit/dialog_window.h"

#include "sdk/console.h"
#include "sdk/exceptions.h"
#include "sdk/host_api.h"
#include "sdk/user_interface.h"
#include "ui/toolkit/common_controls.h"
#include "ui/toolkit/dpi.h"
#include "ui/toolkit/theme.h"
#include "win/cascade.h"
#include "worker/failureText.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace toolkit {

namespace {

std::vector<HWND>& modeless_windows() noexcept
{
    static std::vector<HWND> windows;
    return windows;
}

template <class Call>
void tell_player(Call&& call) noexcept
{
    try {
        service_enumerate<modeless_dialogs>([&](modeless_dialogs& tracking) {
            call(tracking);
            return false;
        });
    } catch (...) {
        // The dialog then has no keys, which is no reason to do without it.
    }
}

// The loop of a modal dialog knows the keys of that dialog only.
LRESULT CALLBACK give_keys(int code, WPARAM first, LPARAM second)
{
    static bool inside = false; // asking a dialog comes here again
    MSG* const message = reinterpret_cast<MSG*>(second);
    if (code == MSGF_DIALOGBOX && !inside && message->message >= WM_KEYFIRST &&
        message->message <= WM_KEYLAST) {
        for (const HWND dialog : modeless_windows()) {
            if (dialog != message->hwnd && !IsChild(dialog, message->hwnd))
                continue;
            inside = true;
            const bool taken = IsDialogMessageW(dialog, message);
            inside = false;
            if (!taken) {
                TranslateMessage(message);
                DispatchMessageW(message);
            }
            return 1;
        }
    }
    return CallNextHookEx(nullptr, code, first, second);
}

class keys_for_modeless {
public:
    keys_for_modeless() noexcept
        : hook_(SetWindowsHookExW(WH_MSGFILTER, &give_keys, nullptr, GetCurrentThreadId()))
    {
    }
    ~keys_for_modeless()
    {
        if (hook_)
            UnhookWindowsHookEx(hook_);
    }
    keys_for_modeless(const keys_for_modeless&) = delete;
    keys_for_modeless& operator=(const keys_for_modeless&) = delete;

private:
    HHOOK hook_;
};

// The first one of the player's resources, which is the one that its file is shown with.
BOOL CALLBACK take_icon(HMODULE player, const wchar_t*, wchar_t* name, LONG_PTR window)
{
    for (const auto& [kind, metric] : {std::pair(ICON_SMALL, SM_CXSMICON), std::pair(ICON_BIG, SM_CXICON)}) {
        const int side = GetSystemMetrics(metric);
        if (const HANDLE icon = LoadImageW(player, name, IMAGE_ICON, side, side, LR_SHARED))
            SendMessageW(reinterpret_cast<HWND>(window), WM_SETICON, static_cast<WPARAM>(kind),
                         reinterpret_cast<LPARAM>(icon));
    }
    return FALSE;
}

// Dialogs have none of their own: they look like the window that they belong to, without one like the player.
void take_icon_of_owner(HWND window) noexcept
{
    const HWND owner = GetWindow(window, GW_OWNER);
    if (!owner) {
        EnumResourceNamesW(GetModuleHandleW(nullptr), RT_GROUP_ICON, take_icon,
                           reinterpret_cast<LONG_PTR>(window));
        return;
    }
    for (const auto& [kind, of_class] :
         {std::pair(ICON_SMALL, GCLP_HICONSM), std::pair(ICON_BIG, GCLP_HICON)}) {
        LRESULT icon = SendMessageW(owner, WM_GETICON, static_cast<WPARAM>(kind), 0);
        if (icon == 0)
            icon = static_cast<LRESULT>(GetClassLongPtrW(owner, of_class));
        if (icon != 0)
            SendMessageW(window, WM_SETICON, static_cast<WPARAM>(kind), icon);
    }
}

// Templates place all dialogs of one owner alike.
void place_beside_others(HWND window) noexcept
{
    RECT place = {};
    MONITORINFO screen = {};
    screen.cbSize = sizeof(screen);
    if (!GetWindowRect(window, &place) ||
        !GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &screen))
        return;
    const POINT at = win::cascaded(window, {place.left, place.top}, screen.rcWork);
    SetWindowPos(window, nullptr, at.x, at.y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

struct unknown_failure : std::exception {
    const char* what() const noexcept override { return "unknown failure"; }
};

} // namespace

void dialog_window::create(HWND owner)
{
    modal_ = false;
    const common_controls_scope controls;
    const HWND made = CreateDialogParamW(own_module(), MAKEINTRESOURCEW(template_id_), owner, &procedure,
                                         reinterpret_cast<LPARAM>(this));
    if (failure_) {
        destroy();
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
    if (!made)
        throw exception_win32(GetLastError());
}

INT_PTR dialog_window::run(HWND owner)
{
    modal_ = true;
    const keys_for_modeless keys;
    const common_controls_scope controls;
    const INT_PTR result = DialogBoxParamW(own_module(), MAKEINTRESOURCEW(template_id_), owner, &procedure,
                                           reinterpret_cast<LPARAM>(this));
    if (failure_)
        std::rethrow_exception(std::exchange(failure_, nullptr));
    if (result == -1)
        throw exception_win32(GetLastError());
    return result;
}

void dialog_window::end(INT_PTR result) noexcept
{
    if (window_)
        EndDialog(window_, result);
}

void dialog_window::destroy() noexcept
{
    if (window_)
        DestroyWindow(window_);
}

void dialog_window::enable(int id, bool enabled) noexcept
{
    const HWND wanted = control(id);
    if (!wanted || (IsWindowEnabled(wanted) != FALSE) == enabled)
        return;
    const bool focused = !enabled && GetFocus() == wanted;
    EnableWindow(wanted, enabled);
    if (focused)
        SendMessageW(window_, WM_NEXTDLGCTL, 0, FALSE);
}

void dialog_window::report(const char* what, const std::exception& failure) noexcept
{
    try {
        console::print(what + Nv::failureText(failure));
    } catch (...) {
        // Nobody is left to be told.
    }
}

void dialog_window::begin(HWND window)
{
    window_ = window;
    follow_theme(window);
    take_icon_of_owner(window);
    widen_cut_labels(window);
    place_beside_others(window);
    if (!modal_) {
        modeless_windows().push_back(window);
        tell_player([&](modeless_dialogs& tracking) { tracking.add(window); });
    }
    try {
        on_init();
        // Only now: the first control may be another one than in the template.
        if (const HWND first = window_ ? GetNextDlgTabItem(window_, nullptr, FALSE) : nullptr)
            SendMessageW(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(first), TRUE);
    } catch (...) {
        failure_ = std::current_exception();
        if (modal_)
            EndDialog(window, -1);
    }
}

INT_PTR dialog_window::handle(UINT message, WPARAM first, LPARAM second)
{
    switch (message) {
    case WM_COMMAND:
        // Escape and the close box come as a button's command, also without such a button.
        if (LOWORD(first) == IDCANCEL)
            on_close();
        else
            on_command(LOWORD(first), HIWORD(first), reinterpret_cast<HWND>(second));
        return TRUE;
    case WM_NOTIFY:
        return on_notify(*reinterpret_cast<NMHDR*>(second)) ? TRUE : FALSE;
    case WM_CTLCOLORDLG:
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORBTN:
        return control_colour(reinterpret_cast<HDC>(first));
    case WM_THEMECHANGED:
        RedrawWindow(window_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
        return FALSE;
    case WM_DESTROY:
        if (std::erase(modeless_windows(), window_) != 0)
            tell_player([&](modeless_dialogs& tracking) { tracking.remove(window_); });
        on_destroy();
        return FALSE;
    default:
        return FALSE;
    }
}

INT_PTR CALLBACK dialog_window::procedure(HWND window, UINT message, WPARAM first, LPARAM second) noexcept
{
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(window, DWLP_USER, second);
        auto* const made = reinterpret_cast<dialog_window*>(second);
        const auto keep = made->keep_alive();
        made->begin(window);
        return FALSE; // the focus is where it should be
    }
    auto* const self = reinterpret_cast<dialog_window*>(GetWindowLongPtrW(window, DWLP_USER));
    if (!self)
        return FALSE;
    const auto keep = self->keep_alive();
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrW(window, DWLP_USER, 0);
        self->window_ = nullptr;
        self->on_gone();
        return FALSE;
    }
    try {
        return self->handle(message, first, second);
    } catch (const std::exception& failure) {
        report("VST dialog: ", failure);
    } catch (...) {
        report("VST dialog: ", unknown_failure());
    }
    return TRUE;
}

} // namespace toolkit
