#include "player/commands/scan_progress.h"

namespace player {

namespace {

// Characters from here on may be two cells wide.
constexpr unsigned char wide_lead = 0xE1;

bool begins_character(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

// The end of `text` that fits.
std::string tail(const std::string& text, size_t cells)
{
    size_t begin = text.size();
    for (size_t at = text.size(); at != 0;) {
        if (!begins_character(text[--at]))
            continue;
        const size_t width = static_cast<unsigned char>(text[at]) >= wide_lead ? 2 : 1;
        if (width > cells)
            break;
        cells -= width;
        begin = at;
    }
    return text.substr(begin);
}

std::string counted(uint64_t count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

} // namespace

scan_progress::state scan_progress::get() const
{
    const std::lock_guard lock(mutex_);
    return state_;
}

void scan_progress::update(uint64_t state::*count, const std::string& path)
{
    const std::lock_guard lock(mutex_);
    ++(state_.*count);
    state_.path = path;
}

std::string scan_progress_text(uint64_t folders, uint64_t candidates, const std::string& path, size_t cells)
{
    constexpr size_t ellipsis = 3;
    const std::string counts =
        counted(folders, "folder", "folders") + ", " + counted(candidates, "candidate", "candidates");
    std::string text = counts + ": ";
    const size_t left = cells > text.size() ? cells - text.size() : 0;
    if (tail(path, left) == path)
        return text + path;
    if (left <= ellipsis)
        return counts.substr(0, cells);
    return text + "..." + tail(path, left - ellipsis);
}

} // namespace player
