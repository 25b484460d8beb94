#include "programs/modules/driven_editor.h"

#include "programs/modules/behaviours.h"
#include "programs/modules/driven_messages.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

namespace {

constexpr UINT_PTR timer = 1;

class driven_editor final : public bare::editor {
public:
    driven_editor(bare::effect& edited, std::function<double()> heard, std::function<void()> reload)
        : effect_(edited)
        , heard_(std::move(heard))
        , reload_(std::move(reload))
        , name_(edited.about().name)
    {
    }
    ~driven_editor() override { stop_drag(); }

    bool open(void* parent, bare::editor_host& host) override
    {
        misbehave_in(name_, "edit");
        if (name_ == "module_whose_editor_does_not_open")
            return false;
        host_ = &host;
        HMODULE self = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<const wchar_t*>(&make_driven_editor), &self);
        WNDCLASSW kind{};
        kind.lpfnWndProc = on_message;
        kind.hInstance = self;
        kind.lpszClassName = driven_editor_class;
        RegisterClassW(&kind);
        window_ = CreateWindowExW(0, driven_editor_class, L"", WS_CHILD | WS_VISIBLE, 0, 0, size_.width,
                                  size_.height, static_cast<HWND>(parent), nullptr, self, nullptr);
        SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        SetTimer(window_, timer, 30, nullptr);
        if (name_ == "module_whose_editor_resizes_at_once")
            ask_for({500, 300});
        show();
        return true;
    }
    void close() override
    {
        stop_drag();
        if (on_close_ >= 0)
            edit(on_close_);
        DestroyWindow(window_);
        window_ = nullptr;
        host_ = nullptr;
    }
    bare::view_size size() override { return size_; }
    bool resizable() const override { return name_ == "module_with_a_resizable_editor"; }
    bare::view_size nearest(bare::view_size wanted) const override
    {
        return {std::max(wanted.width / 10 * 10, 100), std::max(wanted.height / 10 * 10, 100)};
    }
    void resized(bare::view_size size) override
    {
        size_ = size;
        MoveWindow(window_, 0, 0, size.width, size.height, TRUE);
        show();
    }
    bool key_down(int, int code) override
    {
        key_ = " key=" + std::to_string(code);
        show();
        return true;
    }

private:
    void show()
    {
        char text[200];
        std::snprintf(text, sizeof text, "size=%dx%d heard=%.3f%s%s%s%s", size_.width, size_.height, heard_(),
                      GetFocus() == window_ ? " focus" : "", char_.c_str(), wheel_.c_str(), key_.c_str());
        if (text != shown_)
            SetWindowTextA(window_, text);
        shown_ = text;
    }
    void ask_for(bare::view_size wanted)
    {
        size_ = wanted; // VST 2 hosts ask for it afterwards
        host_->resize(wanted);
        MoveWindow(window_, 0, 0, size_.width, size_.height, TRUE);
        show();
    }
    void edit(int thousandths)
    {
        host_->begin_edit(0);
        host_->edit(0, thousandths / 1000.0);
        host_->end_edit(0);
    }
    // One "Level" after another.
    void for_a_while(DWORD duration, const std::function<void(int)>& step)
    {
        const ULONGLONG end = GetTickCount64() + duration;
        for (int i = 0; GetTickCount64() < end && !stop_; ++i, Sleep(5))
            step(i % 1000);
    }
    void drag(DWORD duration)
    {
        stop_drag();
        thread_ =
            std::thread([this, duration] { for_a_while(duration, [this](int level) { edit(level); }); });
    }
    void stop_drag()
    {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        stop_ = false;
    }
    void loop(DWORD duration)
    {
        for_a_while(duration, [this](int level) {
            edit(level);
            for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
                DispatchMessageW(&message);
        });
    }
    // As the mouse loops of old editors: the rest of the thread's messages wait.
    void mouse_loop(DWORD duration)
    {
        for_a_while(duration, [this](int level) {
            effect_.set_value(0, level / 1000.0);
            for (MSG message; PeekMessageW(&message, window_, WM_MOUSEFIRST, WM_MOUSELAST, PM_REMOVE);)
                continue;
        });
    }
    bool obey(UINT message, WPARAM wide, LPARAM large)
    {
        const auto level = static_cast<int>(wide);
        const auto duration = static_cast<DWORD>(wide);
        const std::pair<UINT, std::function<void()>> orders[] = {
            {driven_edit, [&] { edit(level); }},
            {driven_edit_mutely, [&] { effect_.set_value(0, level / 1000.0); }},
            {driven_resize,
             [&] {
                 ask_for({static_cast<int>(wide), static_cast<int>(large)});
             }},
            {driven_drag, [&] { drag(duration); }},
            {driven_loop, [&] { loop(duration); }},
            {driven_mouse_loop, [&] { mouse_loop(duration); }},
            {driven_reload, reload_},
            {driven_slow,
             [&] {
                 slow_ = duration;
                 InvalidateRect(window_, nullptr, FALSE);
             }},
            {driven_hang, [] { misbehave_in("module_that_hangs_in_order", "order"); }},
            {driven_crash, [] { misbehave_in("module_that_crashes_in_order", "order"); }},
            {driven_call_edit_on_close, [&] { on_close_ = level; }},
        };
        for (const auto& [order, follow] : orders)
            if (message == WM_APP + order) {
                follow();
                return true;
            }
        if (message == WM_CHAR)
            char_ = std::string(" char=") + static_cast<char>(wide);
        else if (message == WM_MOUSEWHEEL)
            wheel_ = " wheel";
        else if (message != WM_TIMER && message != WM_SETFOCUS && message != WM_KILLFOCUS)
            return false;
        show();
        return true;
    }
    LRESULT handle(UINT message, WPARAM wide, LPARAM large)
    {
        if (obey(message, wide, large))
            return 0;
        if (message != WM_PAINT || slow_ == 0)
            return DefWindowProcW(window_, message, wide, large);
        Sleep(slow_);
        InvalidateRect(window_, nullptr, FALSE);
        return 0;
    }
    static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM wide, LPARAM large)
    {
        auto* const self = reinterpret_cast<driven_editor*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self == nullptr || self->window_ != window)
            return DefWindowProcW(window, message, wide, large);
        return self->handle(message, wide, large);
    }

    bare::effect& effect_;
    std::function<double()> heard_;
    std::function<void()> reload_;
    std::string name_;
    bare::editor_host* host_ = nullptr;
    HWND window_ = nullptr;
    bare::view_size size_{320, 240};
    std::string shown_;
    std::string char_;
    std::string wheel_;
    std::string key_;
    DWORD slow_ = 0;
    int on_close_ = -1;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace

std::unique_ptr<bare::editor> make_driven_editor(bare::effect& edited, std::function<double()> heard,
                                                 std::function<void()> reload)
{
    return std::make_unique<driven_editor>(edited, std::move(heard), std::move(reload));
}
