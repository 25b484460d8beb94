#include "vsthost/editor/editor_session.h"

#include "vsthost/editor/live_audio.h"
#include "vsthost/editor/parameter_view.h"
#include "vsthost/editor/player_link.h"
#include "vsthost/editor/state_file.h"
#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"
#include "vsthost/run_to_the_end.h"

#include <chrono>
#include <utility>

namespace {

constexpr uint64_t tick_period = 15; // ms, at least
constexpr uint64_t tick_overdue = 50;
constexpr unsigned closing_time = 7000; // ms, for the user's way out
constexpr unsigned log_off_time = 2000; // ms; Windows waits for some more

uint64_t now_ms()
{
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// Something that may have changed the effect.
bool is_touch(const MSG& message)
{
    switch (message.message) {
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
    case WM_LBUTTONDBLCLK:
    case WM_RBUTTONDOWN:
    case WM_RBUTTONUP:
    case WM_MBUTTONDOWN:
    case WM_MBUTTONUP:
    case WM_MOUSEWHEEL:
    case WM_MOUSEHWHEEL:
    case WM_KEYDOWN:
    case WM_KEYUP:
    case WM_COMMAND:
    case WM_DROPFILES:
        return true;
    case WM_MOUSEMOVE:
        return (message.wParam & (MK_LBUTTON | MK_RBUTTON | MK_MBUTTON)) != 0;
    default:
        return false;
    }
}

// Whose hook it is.
thread_local vsthost::editor_session* current = nullptr;

} // namespace

vsthost::editor_session::editor_session(const parts& with, HWND owner, const std::string& title)
    : with_(with)
    , window_(owner, title, {[this] { tick(); }, [this] { end(); }, [this] { end_for_good(); }})
{
    in_tick_ = true; // an editor that pumps messages while it opens
    open_editor();
    in_tick_ = false;
    current = this;
    hook_ = SetWindowsHookExW(WH_GETMESSAGE, on_retrieval, nullptr, GetCurrentThreadId());
}

vsthost::editor_session::~editor_session()
{
    if (hook_ != nullptr)
        UnhookWindowsHookEx(hook_);
    current = nullptr;
}

// Every message that any loop of this thread takes: editors run loops of their own while something is
// dragged, some of them for mouse messages only, so that the window's timer waits until they are over.
LRESULT CALLBACK vsthost::editor_session::on_retrieval(int code, WPARAM wide, LPARAM large)
{
    if (code == HC_ACTION && wide == PM_REMOVE && current != nullptr)
        or_end_process([&] {
            const uint64_t now = now_ms();
            if (current->with_.state_is_steady && is_touch(*reinterpret_cast<const MSG*>(large)))
                current->schedule_.touched(now);
            if (now - current->last_tick_ >= tick_overdue)
                current->tick();
        });
    return CallNextHookEx(nullptr, code, wide, large);
}

void vsthost::editor_session::open_editor()
{
    if (auto editor = with_.shown.make_editor(window_)) {
        if (window_.show(std::move(editor)))
            return;
        report("the effect's editor does not open; a list of its parameters is shown instead");
    }
    window_.show(make_parameter_view(with_.shown));
}

void vsthost::editor_session::run()
{
    while (!ending_) {
        // The window's timer wakes this one.
        MsgWaitForMultipleObjectsEx(0, nullptr, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        pump();
    }
    window_.close_editor();
    save(); // some take an edit over only when they close
}

void vsthost::editor_session::pump()
{
    MSG message;
    // A WM_QUIT that an effect posts is ignored.
    while (!ending_ && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        window_.prepare(message);
        TranslateMessage(&message);
        DispatchMessageW(&message);
        // The timer's messages come last, and a slow editor may never leave room for them during a drag.
        tick();
        rebuild();
    }
}

void vsthost::editor_session::tick()
{
    const uint64_t now = now_ms();
    if (in_tick_ || ending_ || now - last_tick_ < tick_period)
        return;
    last_tick_ = now;
    if (with_.link != nullptr && with_.link->gone())
        return end();
    in_tick_ = true;
    with_.shown.idle();
    window_.idle();
    if (with_.shown.wants_attention() && !with_.shown.wants_rebuild())
        attend();
    if (with_.live != nullptr && with_.live->wants_set_up())
        with_.live->set_up(with_.shown);
    if (with_.shown.take_edited())
        schedule_.edited();
    if (schedule_.due(now))
        save();
    in_tick_ = false;
}

void vsthost::editor_session::attend()
{
    {
        const processing_gate::pause pause(with_.gate);
        with_.shown.attend();
        if (with_.live != nullptr)
            with_.live->set_up_again(with_.shown);
    }
    window_.renew();
}

// In our own loop only: inside one of the effect's its editor stays as it is.
void vsthost::editor_session::rebuild()
{
    if (ending_ || !with_.shown.wants_rebuild())
        return;
    in_tick_ = true;
    window_.close_editor();
    attend();
    open_editor();
    in_tick_ = false;
    schedule_.edited();
}

void vsthost::editor_session::save()
{
    if (with_.writer == nullptr)
        return;
    schedule_.asking(now_ms());
    {
        const processing_gate::pause pause(with_.gate);
        with_.writer->put(with_.shown.state());
    }
    schedule_.asked(now_ms());
}

void vsthost::editor_session::end()
{
    if (std::exchange(ending_, true))
        return;
    if (with_.link == nullptr || !with_.link->gone())
        start_exit_deadline(closing_time);
    // First of all: what follows may get stuck in the effect. Not from inside a call into it, though.
    if (!in_tick_)
        save();
    window_.hide();
}

void vsthost::editor_session::end_for_good()
{
    end();
    if (with_.writer != nullptr)
        with_.writer->finish(log_off_time);
}
