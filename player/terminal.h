#pragma once
// Standard output and standard error in UTF-8: a console gets UTF-16 whatever its code page, anything else
// the bytes as they are.

#include <string_view>

namespace player {

enum class std_stream { output, error };

// Writes the whole text; a stream that cannot be written (closed, broken pipe) swallows it. Any thread.
void write_text(std_stream to, std::string_view utf8) noexcept;

// True when the stream is a console that a person looks at.
bool is_terminal(std_stream stream) noexcept;

} // namespace player
