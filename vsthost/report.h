#pragma once
// Lines on standard error, the worker's only voice: the player shows each with its own prefix. Lines wait in
// a bounded queue for a thread of their own, because a print may block for ever on a pipe whose reader is
// gone.

#include <string>
#include <string_view>

namespace vsthost {

// Starts that thread, once, before any module is loaded: while one hangs or crashes in being loaded, no
// thread comes to its first line. It runs when this returns.
void start_reports();

// Any thread; it allocates, so the audio thread says what it has to say once and not with every block. Never
// blocks on the pipe; line breaks inside the text become spaces; when 256 lines wait, further ones are
// dropped and counted. Throws std::bad_alloc.
void report(std::string_view line);

// That line, once; needs no memory. False when a line of this very thread is just being queued: then nothing
// can be said any more.
bool report_out_of_memory() noexcept;

// True when every line is out within the limit.
bool flush_reports(unsigned milliseconds);

// For probe and --version: to standard output if there is one, else to the console of the parent.
void print_to_user(std::string_view text);

} // namespace vsthost
