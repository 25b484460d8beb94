#include "player/window/console_pane.h"

#include "player/window/ids.h"
#include "win/utf.h"

namespace player {

namespace {

// What an edit control keeps quick with.
constexpr int most_characters = 400'000;

} // namespace

void console_lines::add(std::string_view line)
{
    const std::lock_guard lock(mutex_);
    if (waiting_.size() == most_waiting)
        waiting_.pop_front();
    waiting_.emplace_back(line);
    if (receiver_ && !posted_)
        posted_ = PostMessageW(receiver_, message_, 0, 0) != 0;
}

std::string console_lines::take()
{
    const std::lock_guard lock(mutex_);
    posted_ = false;
    std::string text;
    for (const std::string& line : waiting_)
        text += line + "\r\n";
    waiting_.clear();
    return text;
}

void console_lines::set_receiver(HWND window, UINT message)
{
    const std::lock_guard lock(mutex_);
    receiver_ = window;
    message_ = message;
    posted_ = receiver_ && !waiting_.empty() && PostMessageW(receiver_, message_, 0, 0);
}

console_pane::console_pane(HWND parent)
    : label_(make_control(parent, L"STATIC", "C&onsole", 0, ids::console_label))
    // Lines stay whole: where they are wrapped, Wine's control keeps some memory of each at every change of
    // width.
    , text_(make_control(parent, L"EDIT", "",
                         WS_TABSTOP | WS_VSCROLL | WS_HSCROLL | ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL |
                             ES_AUTOHSCROLL,
                         ids::console_text, WS_EX_CLIENTEDGE))
    , copy_(make_control(parent, L"BUTTON", "Cop&y", WS_TABSTOP, ids::console_copy))
    , clear_(make_control(parent, L"BUTTON", "C&lear", WS_TABSTOP, ids::console_clear))
{
    SendMessageW(text_, EM_SETLIMITTEXT, most_characters * 2, 0);
}

void console_pane::append(const std::string& lines)
{
    DWORD begin = 0, end = 0;
    SendMessageW(text_, EM_GETSEL, reinterpret_cast<WPARAM>(&begin), reinterpret_cast<LPARAM>(&end));
    const int length = GetWindowTextLengthW(text_);
    const bool at_end = begin == end && static_cast<int>(end) == length;
    const std::wstring text = win::to_utf16(lines);
    SendMessageW(text_, EM_SETSEL, static_cast<WPARAM>(length), length);
    SendMessageW(text_, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(text.c_str()));
    // Who reads or marks something keeps his place.
    if (!at_end)
        SendMessageW(text_, EM_SETSEL, begin, static_cast<LPARAM>(end));
    cut_old();
}

void console_pane::cut_old()
{
    const int length = GetWindowTextLengthW(text_);
    if (length <= most_characters)
        return;
    const auto line = SendMessageW(text_, EM_LINEFROMCHAR, static_cast<WPARAM>(length / 2), 0);
    const auto from = SendMessageW(text_, EM_LINEINDEX, static_cast<WPARAM>(line), 0);
    SendMessageW(text_, EM_SETSEL, 0, from);
    SendMessageW(text_, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(L""));
    const int left = GetWindowTextLengthW(text_);
    SendMessageW(text_, EM_SETSEL, static_cast<WPARAM>(left), left);
}

void console_pane::copy() const
{
    DWORD begin = 0, end = 0;
    SendMessageW(text_, EM_GETSEL, reinterpret_cast<WPARAM>(&begin), reinterpret_cast<LPARAM>(&end));
    if (begin == end)
        SendMessageW(text_, EM_SETSEL, 0, -1); // everything, when nothing is marked
    SendMessageW(text_, WM_COPY, 0, 0);
    if (begin == end)
        SendMessageW(text_, EM_SETSEL, begin, static_cast<LPARAM>(end));
}

bool console_pane::command(int id)
{
    if (id == ids::console_copy)
        copy();
    else if (id == ids::console_clear)
        SetWindowTextW(text_, L"");
    else
        return false;
    return true;
}

void console_pane::arrange(const appearance& look, int left, int top, int width, int height) const
{
    const int label = look.scaled(18), button = look.scaled(90), gap = look.scaled(8), line = look.scaled(26);
    place(label_, left, top, width, label);
    place(text_, left, top + label, width - button - gap, height - label);
    place(copy_, left + width - button, top + label, button, line);
    place(clear_, left + width - button, top + label + line + gap / 2, button, line);
}

} // namespace player
