#include "player/window/main_window.h"

#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/window/ids.h"
#include "player/window/session.h"
#include "sdk/componentversion.h"
#include "sdk/shell.h"
#include "win/utf.h"

#include <commctrl.h>

#include <algorithm>

namespace player {

namespace {

constexpr UINT_PTR tick_timer = 1, save_timer = 2;
constexpr UINT tick_ms = 50, save_after_ms = 1000;
constexpr int start_width = 760, start_height = 560, least_width = 600, least_height = 420; // at 96 dpi

struct accelerator {
    bool control;
    WPARAM key;
    int id;
};
constexpr accelerator accelerators[] = {{true, 'O', ids::open},
                                        {true, 'P', ids::preferences},
                                        {false, VK_F5, ids::play},
                                        {false, VK_F6, ids::pause},
                                        {false, VK_F7, ids::stop}};

bool is_down(int key) noexcept
{
    return GetKeyState(key) < 0;
}

} // namespace

main_window::main_window(player_host& host, console_lines& lines)
    : host_(host)
    , lines_(lines)
    , keys_(service_ptr_t<config_store>(&host.store()))
{
    INITCOMMONCONTROLSEX controls{sizeof(INITCOMMONCONTROLSEX), ICC_BAR_CLASSES | ICC_LISTVIEW_CLASSES |
                                                                    ICC_TREEVIEW_CLASSES | ICC_HOTKEY_CLASS |
                                                                    ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&controls);
    register_class(ids::main_class, &procedure);
    window_ = CreateWindowExW(WS_EX_ACCEPTFILES | WS_EX_CONTROLPARENT, ids::main_class, L"qvxplayer",
                              WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT,
                              start_width, start_height, nullptr, nullptr, GetModuleHandleW(nullptr), this);
    if (!window_)
        throw exception_win32(GetLastError());
    host_.set_main_window(window_);
}

main_window::~main_window()
{
    lines_.set_receiver(nullptr, 0);
    host_.chain().set_changed({});
    host_.set_main_window(nullptr);
    preferences_.reset();
    chain_.reset();
    SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
    DestroyWindow(window_);
}

void main_window::start(playback_engine& engine)
{
    engine_ = &engine;
    look_.set(dpi_of(window_), host_.look().is_dark());
    transport_ = std::make_unique<transport_bar>(window_, engine, look_);
    failure_ = std::make_unique<failure_bar>(window_);
    chain_ = std::make_unique<chain_pane>(window_, host_.chain());
    console_ = std::make_unique<console_pane>(window_);
    status_ = make_control(window_, STATUSCLASSNAMEW, "", SBARS_SIZEGRIP, ids::status);
    menu_ = std::make_unique<menu_bar>(window_, keys_);
    preferences_ = std::make_unique<preferences_window>(window_, host_.dialogs(), host_.look(), keys_);
    service_ptr_t<user_interface_look> look;
    host_.look().get_look(look);
    look->follow_frame(window_);
    look->follow_theme(window_);
    host_.chain().set_changed([this] { chain_changed(); });
    lines_.set_receiver(window_, lines_wait);
    change_look();
    SetTimer(window_, tick_timer, tick_ms, nullptr);
    tick();
}

void main_window::show()
{
    string_out_impl stored;
    host_.store().get_string(window_store_key, "", stored);
    window_place at{CW_USEDEFAULT, 0, look_.scaled(start_width), look_.scaled(start_height)};
    if (const auto last = place_from_text(stored.text)) {
        RECT rect{last->left, last->top, last->left + last->width, last->top + last->height};
        MONITORINFO monitor{};
        monitor.cbSize = sizeof(monitor);
        GetMonitorInfoW(MonitorFromRect(&rect, MONITOR_DEFAULTTONEAREST), &monitor);
        at = on_screen(*last, monitor.rcWork.left, monitor.rcWork.top, monitor.rcWork.right,
                       monitor.rcWork.bottom);
        place(window_, at.left, at.top, at.width, at.height);
    } else {
        SetWindowPos(window_, nullptr, 0, 0, at.width, at.height, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
    ShowWindow(window_, at.maximised ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL);
    SetFocus(GetDlgItem(window_, ids::play));
}

// A menu's own loop may swallow the message to quit: it is left first, and the flag says it once more.
void main_window::close()
{
    closed_ = true;
    EndMenu();
    PostQuitMessage(0);
}

void main_window::save_place() const
{
    WINDOWPLACEMENT now{};
    now.length = sizeof(now);
    if (!GetWindowPlacement(window_, &now))
        return;
    const RECT& at = now.rcNormalPosition;
    const window_place place{static_cast<int>(at.left), static_cast<int>(at.top),
                             static_cast<int>(at.right - at.left), static_cast<int>(at.bottom - at.top),
                             now.showCmd == SW_SHOWMAXIMIZED};
    host_.store().set_string(window_store_key, place_to_text(place).c_str());
}

void main_window::open_file(const std::string& path)
{
    const std::string full = absolute_path(path);
    try {
        engine_->open(std::make_unique<wav_reader>(full));
    } catch (const player_error& error) {
        show_popup(window_, error.what(), "Open a file", popup_kind::failure);
        return;
    }
    file_ = full;
    host_.store().set_string(file_store_key, full.c_str());
    SetWindowTextW(window_, win::to_utf16(file_name(full) + " - qvxplayer").c_str());
}

void main_window::choose_file()
{
    const std::string folder = folder_of(file_);
    const auto chosen = uGetOpenFileName(window_, "WAV files|*.wav|All files|*.*", "wav", "Open a file",
                                         folder.empty() ? nullptr : folder.c_str(), false);
    if (chosen)
        open_file(*chosen);
}

void main_window::dropped(HDROP files)
{
    std::wstring path(DragQueryFileW(files, 0, nullptr, 0) + 1, L'\0');
    path.resize(DragQueryFileW(files, 0, path.data(), static_cast<UINT>(path.size())));
    DragFinish(files);
    if (path.empty())
        return;
    open_file(win::to_utf8(path));
    engine_->play();
}

bool main_window::take_key(MSG& message)
{
    if (message.message == WM_KEYDOWN || message.message == WM_SYSKEYDOWN) {
        const key_press press{is_down(VK_CONTROL), is_down(VK_MENU), is_down(VK_SHIFT),
                              static_cast<uint16_t>(message.wParam)};
        // Not while keys are being chosen in the preferences.
        const bool is_ours = message.hwnd == window_ || IsChild(window_, message.hwnd);
        if (const auto bound = keys_.find(press); bound && is_ours && !(message.lParam & (1 << 30))) {
            try {
                run_command(*bound);
            } catch (const std::exception& error) {
                show_popup(window_, error.what(), "Command", popup_kind::failure);
            }
            return true;
        }
        for (const accelerator& each : accelerators) {
            if (is_ours && each.key == message.wParam && each.control == press.control && !press.alt &&
                !press.shift) {
                SendMessageW(window_, WM_COMMAND, MAKEWPARAM(each.id, 1), 0);
                return true;
            }
        }
    }
    return host_.dialogs().take(message) || IsDialogMessageW(window_, &message);
}

void main_window::chain_changed()
{
    chain_->refresh();
    chain_saved_ = false;
    SetTimer(window_, save_timer, save_after_ms, nullptr);
}

void main_window::save_chain()
{
    KillTimer(window_, save_timer);
    if (chain_saved_)
        return;
    host_.store().set_string(chain_store_key, chain_to_text(*host_.chain().get()).c_str());
    chain_saved_ = true;
}

void main_window::leave_component()
{
    chain_->close_dialogs();
    menu_.reset();
    preferences_.reset();
}

std::string main_window::slot_name(uint64_t slot) const
{
    const auto slots = host_.chain().get();
    const chain_slot* found = find_slot(*slots, slot);
    return found ? dsp_name(found->preset) : std::string();
}

void main_window::show_status(const play_status& now)
{
    std::string text;
    if (!hint_.empty())
        text = hint_;
    else if (now.starting)
        text = "Starting " + slot_name(now.starting) + "...";
    else if (now.waiting)
        text = "Waiting for " + slot_name(now.waiting) + "... (Stop, or switch it off)";
    else if (!now.has_file)
        text = "Open a WAV file (Ctrl+O) or drop one here";
    else
        text = file_name(file_) + ", " + std::to_string(now.rate) + " Hz, " + std::to_string(now.channels) +
               (now.channels == 1 ? " channel" : " channels");
    if (hint_.empty()) {
        if (now.against_clock)
            text += " - no sound device: playing against the clock";
        if (now.capture_failed)
            text += " - the capture has ended: see the console";
        if (host_.refusals().any())
            text += " - an effect did not take its state: see the console";
        if (now.underruns)
            text += " - " + std::to_string(now.underruns) + (now.underruns == 1 ? " gap" : " gaps");
    }
    set_window_text(status_, text);
}

void main_window::tick()
{
    engine_->give_up_unwanted();
    const play_status now = engine_->status();
    transport_->show(now);
    if (failure_->show(now, slot_name(now.failure.slot)))
        arrange();
    show_status(now);
}

void main_window::failure_command(int id)
{
    const uint64_t slot = failure_->slot();
    if (id == ids::failure_configure) {
        chain_->configure(slot);
        return;
    }
    if (id == ids::failure_leave_out)
        host_.chain().enable(slot, false);
    engine_->play();
}

void main_window::about() const
{
    std::string text = "qvxplayer " QVX_VERSION;
    service_enumerate<componentversion>([&](componentversion& component) {
        string_out_impl name, version, message;
        component.get_component_name(name);
        component.get_component_version(version);
        component.get_about_message(message);
        text += "\n\n" + name.text + " " + version.text + "\n" + message.text;
        return true;
    });
    show_popup(window_, text, "About");
}

void main_window::command(int id, int code)
{
    if (transport_->command(id) || console_->command(id) || chain_->command(id))
        return tick();
    switch (id) {
    case ids::open:
        return choose_file();
    case ids::preferences:
        if (preferences_)
            preferences_->open();
        return;
    case ids::quit:
        PostMessageW(window_, WM_CLOSE, 0, 0);
        return;
    case ids::about:
        return about();
    case ids::failure_start_again:
    case ids::failure_leave_out:
    case ids::failure_configure:
        return failure_command(id);
    case IDOK: // Enter, which the dialog keys turn into this
        if (GetFocus() == chain_->list())
            chain_->command(ids::chain_configure);
        return;
    default:
        if (code == 0 && menu_)
            menu_->command(id);
    }
}

void main_window::arrange() const
{
    if (!transport_ || !status_)
        return;
    SendMessageW(status_, WM_SIZE, 0, 0);
    RECT area, bar;
    GetClientRect(window_, &area);
    GetWindowRect(status_, &bar);
    const int gap = look_.scaled(8), width = area.right - 2 * gap,
              bottom = area.bottom - (bar.bottom - bar.top);
    int y = gap;
    transport_->arrange(look_, gap, y, width);
    y += transport_bar::height(look_);
    if (failure_->is_shown()) {
        failure_->arrange(look_, gap, y, width);
        y += failure_bar::height(look_);
    }
    const int chain_height = std::max(look_.scaled(172), (bottom - y) / 2);
    chain_->arrange(look_, gap, y, width, chain_height);
    y += chain_height + gap;
    console_->arrange(look_, gap, y, width, bottom - y - gap);
    // Controls that move over each other's old places leave traces.
    RedrawWindow(window_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void main_window::change_look()
{
    look_.set(dpi_of(window_), host_.look().is_dark());
    look_.dress_children(window_);
    arrange();
}

std::optional<LRESULT> main_window::handle_look(UINT message, WPARAM first, LPARAM second)
{
    switch (message) {
    case WM_THEMECHANGED:
        change_look();
        return 0;
    case WM_SETTINGCHANGE:
        host_.look().refresh();
        return std::nullopt;
    case WM_DPICHANGED: {
        const RECT& wanted = *reinterpret_cast<const RECT*>(second);
        place(window_, wanted.left, wanted.top, wanted.right - wanted.left, wanted.bottom - wanted.top);
        change_look();
        return 0;
    }
    case WM_GETMINMAXINFO:
        reinterpret_cast<MINMAXINFO*>(second)->ptMinTrackSize = {look_.scaled(least_width),
                                                                 look_.scaled(least_height)};
        return 0;
    case WM_SIZE:
        arrange();
        return 0;
    case WM_ERASEBKGND: {
        RECT area;
        GetClientRect(window_, &area);
        FillRect(reinterpret_cast<HDC>(first), &area, look_.back_brush());
        return 1;
    }
    case WM_CTLCOLORSTATIC: {
        const bool is_field = GetDlgCtrlID(reinterpret_cast<HWND>(second)) == ids::console_text;
        const auto context = reinterpret_cast<HDC>(first);
        return reinterpret_cast<LRESULT>(is_field ? look_.color_field(context) : look_.color_label(context));
    }
    case WM_CTLCOLORBTN:
        return reinterpret_cast<LRESULT>(look_.color_label(reinterpret_cast<HDC>(first)));
    case WM_CTLCOLOREDIT:
        return reinterpret_cast<LRESULT>(look_.color_field(reinterpret_cast<HDC>(first)));
    default:
        return std::nullopt;
    }
}

LRESULT main_window::handle(UINT message, WPARAM first, LPARAM second)
{
    if (!status_) // not yet started
        return DefWindowProcW(window_, message, first, second);
    if (const auto result = handle_look(message, first, second))
        return *result;
    switch (message) {
    case WM_TIMER:
        first == save_timer ? save_chain() : tick();
        return 0;
    case engine_changed:
        tick();
        return 0;
    case lines_wait:
        console_->append(lines_.take());
        return 0;
    case WM_COMMAND:
        command(LOWORD(first), HIWORD(first));
        return 0;
    case WM_NEXTDLGCTL: // the key of a label; only dialogs of the system answer it by themselves
        next_control(window_, first, second);
        return 0;
    case WM_NOTIFY:
        if (reinterpret_cast<const NMHDR*>(second)->idFrom == ids::chain_list)
            chain_->notified(*reinterpret_cast<const NMHDR*>(second));
        return 0;
    case WM_HSCROLL:
        if (reinterpret_cast<HWND>(second) == transport_->bar())
            transport_->scrolled(LOWORD(first));
        return 0;
    case WM_INITMENUPOPUP:
        if (menu_)
            menu_->about_to_show(reinterpret_cast<HMENU>(first));
        return 0;
    case WM_MENUSELECT:
        hint_ = menu_ ? menu_->description(LOWORD(first)) : std::string();
        tick();
        return 0;
    case WM_DROPFILES:
        dropped(reinterpret_cast<HDROP>(first));
        return 0;
    case WM_ENDSESSION:
        if (first)
            save_chain();
        return 0;
    case WM_CLOSE:
        close();
        save_place();
        return 0;
    default:
        return DefWindowProcW(window_, message, first, second);
    }
}

LRESULT CALLBACK main_window::procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    if (message == WM_NCCREATE) {
        auto* self = static_cast<main_window*>(reinterpret_cast<CREATESTRUCTW*>(second)->lpCreateParams);
        self->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    }
    auto* self = reinterpret_cast<main_window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!self)
        return DefWindowProcW(window, message, first, second);
    std::string failure;
    try {
        return self->handle(message, first, second);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    try {
        if (message == WM_TIMER || message == WM_CLOSE)
            console::print(failure); // again and again, or nobody would read it: no box
        else
            show_popup(window, failure, "qvxplayer", popup_kind::failure);
    } catch (const std::exception&) {
        // There is no way left to say it.
    }
    return 0;
}

} // namespace player
