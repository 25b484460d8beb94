#include "vsthost/editor/editor_session.h"

#include "vsthost/editor/live_audio.h"
#include "vsthost/editor/parameter_view.h"
#include "vsthost/editor/player_link.h"
#include "vsthost/editor/state_file.h"
#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"

#include <chrono>
#include <utility>

namespace {

constexpr uint64_t tick_period = 15;    // ms, at least
constexpr unsigned closing_time = 7000; // ms, for the user's way out

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

} // namespace

vsthost::editor_session::editor_session(const parts& with, HWND owner, const std::string& title)
    : with_(with)
    , window_(owner, title, {[this] { tick(false); }, [this] { end(); }})
{
    in_tick_ = true; // an editor that pumps messages while it opens
    open_editor();
    in_tick_ = false;
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
        if (is_touch(message))
            schedule_.touched(now_ms());
        window_.prepare(message);
        TranslateMessage(&message);
        DispatchMessageW(&message);
        // The timer's messages come last, and a slow editor may never leave room for them during a drag.
        tick(true);
    }
}

void vsthost::editor_session::tick(bool in_own_loop)
{
    const uint64_t now = now_ms();
    if (in_tick_ || ending_ || now - last_tick_ < tick_period)
        return;
    last_tick_ = now;
    in_tick_ = true;
    if (with_.link != nullptr && with_.link->gone()) {
        in_tick_ = false;
        end();
        return;
    }
    with_.shown.idle();
    window_.idle();
    attend(in_own_loop);
    if (with_.live != nullptr && with_.live->wants_set_up())
        with_.live->set_up(with_.shown);
    if (with_.shown.take_edited())
        schedule_.edited();
    if (schedule_.due(now))
        save();
    in_tick_ = false;
}

void vsthost::editor_session::attend(bool in_own_loop)
{
    // Inside a loop of the effect's own its editor stays as it is.
    const bool rebuild = with_.shown.wants_rebuild();
    if (!with_.shown.wants_attention() || (rebuild && !in_own_loop))
        return;
    if (rebuild)
        window_.close_editor();
    {
        const processing_gate::pause pause(with_.gate);
        with_.shown.attend();
        if (with_.live != nullptr)
            with_.live->set_up_again(with_.shown);
    }
    if (rebuild)
        open_editor();
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
