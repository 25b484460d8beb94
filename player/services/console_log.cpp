#include "player/services/console_log.h"

#include "player/system/terminal.h"

#include <string>

namespace player {

void console_log::print_line(const char* utf8, size_t byte_count) noexcept
try {
    const std::lock_guard lock(mutex_);
    if (!sink_)
        return;
    std::string_view left(utf8, byte_count);
    for (;;) {
        const size_t end = left.find('\n');
        std::string_view line = left.substr(0, end);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        sink_(line);
        if (end == std::string_view::npos)
            return;
        left.remove_prefix(end + 1);
    }
} catch (...) {
    // A line that cannot be shown is lost; whoever printed it goes on.
}

void console_log::close() noexcept
{
    const std::lock_guard lock(mutex_);
    sink_ = nullptr;
}

console_log::sink_t stderr_sink()
{
    return [](std::string_view line) {
        std::string text(line);
        text += '\n';
        write_text(std_stream::error, text);
    };
}

} // namespace player
