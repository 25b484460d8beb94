#include "player/terminal.h"

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

void write_text(std_stream to, std::string_view utf8) noexcept
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
                return;
        }
        return;
    }
    while (!utf8.empty()) {
        const auto part = static_cast<DWORD>(std::min<size_t>(utf8.size(), 1 << 20));
        if (!WriteFile(handle, utf8.data(), part, &written, nullptr) || written == 0)
            return;
        utf8.remove_prefix(written);
    }
} catch (...) {
    // Nobody could be told.
}

} // namespace player
