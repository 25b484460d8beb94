#include "player/system/terminal.h"

#include "win/utf.h"

#include <windows.h>

#include <algorithm>

namespace player {

namespace {

HANDLE handle_of(std_stream stream) noexcept
{
    return GetStdHandle(stream == std_stream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

} // namespace

bool is_terminal(std_stream stream) noexcept
{
    DWORD mode;
    return GetConsoleMode(handle_of(stream), &mode) != FALSE;
}

size_t terminal_width(std_stream stream) noexcept
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const bool known = GetConsoleScreenBufferInfo(handle_of(stream), &info) != FALSE;
    return known && info.dwSize.X > 0 ? static_cast<size_t>(info.dwSize.X) : 80;
}

void status_line::show(const std::string& text)
{
    const std::lock_guard lock(mutex_);
    if (text == shown_)
        return;
    // Bytes are at least as many as cells: enough blanks to cover what was there, within the line.
    const size_t width = terminal_width(std_stream::error);
    const size_t old = std::min(shown_.size(), width - 1);
    write_text(std_stream::error, "\r" + std::string(old, ' ') + "\r" + text);
    shown_ = text;
}

void status_line::hide()
{
    const std::lock_guard lock(mutex_);
    if (!shown_.empty())
        write_text(std_stream::error,
                   "\r" + std::string(std::min(shown_.size(), terminal_width(std_stream::error) - 1), ' ') +
                       "\r");
    shown_.clear();
}

uint32_t write_text(std_stream to, std::string_view utf8) noexcept
try {
    const HANDLE handle = handle_of(to);
    DWORD written = 0;
    if (is_terminal(to)) {
        // Consoles refuse very long writes.
        std::wstring wide = win::to_utf16(utf8);
        for (std::wstring_view left = wide; !left.empty();
             left.remove_prefix(std::min<size_t>(written, left.size()))) {
            const auto part = static_cast<DWORD>(std::min<size_t>(left.size(), 8192));
            if (!WriteConsoleW(handle, left.data(), part, &written, nullptr) || written == 0)
                return 0;
        }
        return 0;
    }
    while (!utf8.empty()) {
        const auto part = static_cast<DWORD>(std::min<size_t>(utf8.size(), 1 << 20));
        if (!WriteFile(handle, utf8.data(), part, &written, nullptr)) {
            const DWORD code = GetLastError();
            const bool has_reader =
                code != ERROR_INVALID_HANDLE && code != ERROR_BROKEN_PIPE && code != ERROR_NO_DATA;
            return has_reader ? code : 0;
        }
        if (written == 0)
            return ERROR_DISK_FULL;
        utf8.remove_prefix(written);
    }
    return 0;
} catch (const std::exception&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

} // namespace player
