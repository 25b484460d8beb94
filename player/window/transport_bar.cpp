#include "player/window/transport_bar.h"

#include "player/window/ids.h"
#include "player/window/session.h"

#include <commctrl.h>

#include <cmath>

namespace player {

namespace {

constexpr double steps_per_second = 10;

// A click beside the thumb goes to that place instead of a page on; the thumb is then held there.
LRESULT CALLBACK jump_to_click(HWND bar, UINT message, WPARAM first, LPARAM second, UINT_PTR, DWORD_PTR)
{
    const POINT at{static_cast<short>(LOWORD(second)), static_cast<short>(HIWORD(second))};
    RECT thumb{}, channel{};
    if (message == WM_LBUTTONDOWN || message == WM_LBUTTONDBLCLK) {
        SendMessageW(bar, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
        SendMessageW(bar, TBM_GETCHANNELRECT, 0, reinterpret_cast<LPARAM>(&channel));
        const double way = channel.right - channel.left - (thumb.right - thumb.left);
        if (!PtInRect(&thumb, at) && way > 0) {
            const double place = (at.x - channel.left - (thumb.right - thumb.left) / 2.0) / way;
            const auto end = static_cast<double>(SendMessageW(bar, TBM_GETRANGEMAX, 0, 0));
            SendMessageW(bar, TBM_SETPOS, TRUE,
                         static_cast<LPARAM>(std::lround(std::clamp(place, 0.0, 1.0) * end)));
        }
    }
    return DefSubclassProc(bar, message, first, second);
}

} // namespace

transport_bar::transport_bar(HWND parent, playback_engine& engine, const appearance& look)
    : engine_(engine)
    , play_(make_control(parent, L"BUTTON", "&Play", WS_TABSTOP | WS_GROUP, ids::play))
    , pause_(make_control(parent, L"BUTTON", "Pa&use", WS_TABSTOP, ids::pause))
    , stop_(make_control(parent, L"BUTTON", "&Stop", WS_TABSTOP, ids::stop))
    , label_(make_control(parent, L"STATIC", "Pos&ition", SS_CENTERIMAGE, ids::seek_label))
    , bar_(make_control(parent, TRACKBAR_CLASSW, "Position", WS_TABSTOP | TBS_NOTICKS | TBS_HORZ,
                        ids::seek_bar))
    , time_(make_control(parent, L"STATIC", "0:00 / 0:00", SS_CENTERIMAGE | SS_RIGHT, ids::time))
    , meter_(parent, ids::meter, look)
{
    SendMessageW(bar_, TBM_SETLINESIZE, 0, static_cast<LPARAM>(5 * steps_per_second));
    SendMessageW(bar_, TBM_SETPAGESIZE, 0, static_cast<LPARAM>(30 * steps_per_second));
    SendMessageW(bar_, TBM_SETRANGEMAX, TRUE, 0);
    SetWindowSubclass(bar_, &jump_to_click, 0, 0);
}

bool transport_bar::command(int id)
{
    if (id == ids::play)
        engine_.play();
    else if (id == ids::pause)
        engine_.pause();
    else if (id == ids::stop)
        engine_.stop();
    else
        return false;
    return true;
}

void transport_bar::scrolled(int code)
{
    held_ = code == TB_THUMBTRACK;
    if (held_ || code == TB_ENDTRACK)
        return;
    asked_ = static_cast<double>(SendMessageW(bar_, TBM_GETPOS, 0, 0)) / steps_per_second;
    asked_at_ = GetTickCount64();
    engine_.seek(asked_);
}

void transport_bar::show(const play_status& now)
{
    const bool is_playing = now.state == play_state::playing;
    const struct {
        HWND control;
        bool usable;
    } states[] = {{play_, now.has_file && !is_playing},
                  {pause_, is_playing},
                  {stop_, now.has_file && now.state != play_state::stopped},
                  {bar_, now.has_file}};
    HWND next = nullptr;
    for (const auto& [control, usable] : states) {
        if (!usable)
            continue;
        EnableWindow(control, TRUE);
        next = next ? next : control;
    }
    for (const auto& [control, usable] : states) {
        if (usable)
            continue;
        // The keyboard's focus must not stay on what is greyed under it.
        if (GetFocus() == control)
            SetFocus(next ? next : GetNextDlgTabItem(GetParent(control), control, FALSE));
        EnableWindow(control, FALSE);
    }
    if (now.length != length_) {
        length_ = now.length;
        SendMessageW(bar_, TBM_SETRANGEMAX, TRUE,
                     static_cast<LPARAM>(std::lround(length_ * steps_per_second)));
    }
    // Right after a seek the old place is still the one that is known: the bar must not jump back.
    if (std::fabs(now.position - asked_) < 1 || GetTickCount64() - asked_at_ > 1000)
        asked_ = -1;
    if (!held_ && asked_ < 0)
        SendMessageW(bar_, TBM_SETPOS, TRUE,
                     static_cast<LPARAM>(std::lround(now.position * steps_per_second)));
    set_window_text(time_, time_text(now.position) + " / " + time_text(now.length));
    meter_.show(engine_.take_peaks(), now.channels ? now.channels : 2);
}

void transport_bar::arrange(const appearance& look, int left, int top, int width) const
{
    const int line = look.scaled(26), button = look.scaled(70), gap = look.scaled(6);
    const int label = look.scaled(52), time = look.scaled(96), meter = look.scaled(110);
    int x = left;
    for (const HWND control : {play_, pause_, stop_}) {
        place(control, x, top, button, line);
        x += button + gap;
    }
    place(label_, x, top, label, line);
    x += label;
    const int bar = left + width - meter - time - 2 * gap - x;
    place(bar_, x, top, bar, line);
    place(time_, x + bar + gap, top, time, line);
    place(meter_.window(), left + width - meter, top + look.scaled(2), meter, line - look.scaled(4));
}

} // namespace player
