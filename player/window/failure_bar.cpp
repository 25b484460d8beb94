#include "player/window/failure_bar.h"

#include "player/chain/chain.h"
#include "player/window/ids.h"

namespace player {

std::string failure_sentence(const std::string& name, const std::string& reason)
{
    std::string text = name.empty() ? "The music stopped: " : "\"" + name + "\" stopped the music: ";
    for (const char c : reason)
        text += c == '\n' || c == '\r' ? ' ' : c;
    while (!text.empty() && (text.back() == '.' || text.back() == ' ' || text.back() == ':'))
        text.pop_back();
    const std::string advice = failure_advice(reason);
    return text + (advice.empty() ? "" : "; " + advice) + ".";
}

failure_bar::failure_bar(HWND parent)
    : text_(make_control(parent, L"STATIC", "", SS_NOPREFIX | SS_ENDELLIPSIS | SS_CENTERIMAGE,
                         ids::failure_text))
    , start_again_(make_control(parent, L"BUTTON", "Start it &again", WS_TABSTOP, ids::failure_start_again))
    , leave_out_(make_control(parent, L"BUTTON", "Leave it ou&t", WS_TABSTOP, ids::failure_leave_out))
    , configure_(make_control(parent, L"BUTTON", "Confi&gure it", WS_TABSTOP, ids::failure_configure))
{
    for (const HWND control : {text_, start_again_, leave_out_, configure_})
        ShowWindow(control, SW_HIDE);
}

bool failure_bar::show(const play_status& now, const std::string& name)
{
    const bool wanted = now.state == play_state::failed;
    if (wanted && (!shown_ || slot_ != now.failure.slot || reason_ != now.failure.reason)) {
        slot_ = now.failure.slot;
        reason_ = now.failure.reason;
        set_window_text(text_, failure_sentence(name, reason_));
    }
    const bool has_dsp = wanted && slot_ != 0 && !name.empty();
    if (wanted == shown_) {
        if (wanted && !has_dsp)
            for (const HWND control : {leave_out_, configure_})
                if (IsWindowVisible(control)) {
                    if (GetFocus() == control)
                        SetFocus(start_again_);
                    ShowWindow(control, SW_HIDE);
                }
        return false;
    }
    shown_ = wanted;
    const auto set = [](HWND control, bool visible) { ShowWindow(control, visible ? SW_SHOW : SW_HIDE); };
    set(text_, wanted);
    set(start_again_, wanted);
    set(leave_out_, has_dsp);
    set(configure_, has_dsp);
    return true;
}

void failure_bar::arrange(const appearance& look, int left, int top, int width) const
{
    const int line = look.scaled(26), button = look.scaled(100), gap = look.scaled(6);
    place(text_, left, top, width, line);
    int x = left;
    for (const HWND control : {start_again_, leave_out_, configure_}) {
        place(control, x, top + line, button, line);
        x += button + gap;
    }
}

} // namespace player
