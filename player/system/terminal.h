#pragma once
// Standard output and standard error in UTF-8: a console gets UTF-16 whatever its code page, anything else
// the bytes as they are.

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace player {

enum class std_stream { output, error };

// Writes the whole text; a stream that nobody reads (closed, broken pipe) swallows it. Returns the Windows
// error code of what failed otherwise, 0 when nothing did. Any thread.
uint32_t write_text(std_stream to, std::string_view utf8) noexcept;

// True when the stream is a console that a person looks at.
bool is_terminal(std_stream stream) noexcept;
// Its width in characters; 80 when it is none.
size_t terminal_width(std_stream stream) noexcept;

// The last line of the terminal that standard error is, while something runs. Any thread: console lines come
// in between and hide it.
class status_line {
public:
    void show(const std::string& text); // narrower than the terminal; in place of what is shown
    void hide();

private:
    std::mutex mutex_;
    std::string shown_;
};

} // namespace player
