#pragma once
// The worker's end of the pipe: a byte stream read through one growing buffer, so that a command and its
// payload usually arrive in one read, and written in one piece. Used by the pipe thread alone.

#include "win/handle.h"

#include <windows.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace vsthost {

// Thrown by every operation when the player's end is gone, if so wanted.
struct pipe_ended {};

// What the end of the player's side does.
enum class at_pipe_end {
    end_process, // at once, with exit code 0: whatever else is stuck, nobody waits for it any more
    tell,        // throw pipe_ended
};

class pipe_client {
public:
    // Opens the pipe for overlapped reading and writing. Throws fatal_error (pipe_open).
    explicit pipe_client(const std::string& name, at_pipe_end at_end = at_pipe_end::end_process);
    ~pipe_client();
    pipe_client(const pipe_client&) = delete;
    pipe_client& operator=(const pipe_client&) = delete;

    HANDLE handle() const noexcept { return pipe_.get(); }

    // Blocks until `count` unread bytes are there and returns them; valid until the next call. The caller
    // bounds `count`; the buffer grows as bytes arrive, not by what was announced. Throws std::bad_alloc.
    std::span<const std::byte> peek(size_t count);
    void consume(size_t count) noexcept;

    void write(std::span<const std::byte> bytes);

    // Waits for `done` while it keeps reading, a little ahead, so that the end of the player is noticed.
    void wait_for(HANDLE done);

private:
    void start_read();
    void finish_read(); // blocks until the running read is over
    void reserve(size_t count);
    [[noreturn]] void gone();

    win::file_handle pipe_;

    at_pipe_end at_end_;

    // One read operation.
    std::unique_ptr<std::byte[]> buffer_;
    size_t capacity_ = 0;
    size_t begin_ = 0; // of the unread bytes
    size_t end_ = 0;
    OVERLAPPED read_{};
    win::kernel_handle read_event_;
    bool reading_ = false;

    win::kernel_handle write_event_;
};

} // namespace vsthost
