#include "vsthost/pipe_client.h"

#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "win/error_text.h"
#include "win/utf.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t first_capacity = 128 * 1024;
constexpr size_t largest_transfer = 16 * 1024 * 1024;
constexpr size_t read_ahead_limit = 1024 * 1024;

} // namespace

vsthost::pipe_client::pipe_client(const std::string& name, at_pipe_end at_end)
    : at_end_(at_end)
    , read_event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    , write_event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    pipe_ = win::file_handle(CreateFileW(win::to_utf16(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                         nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
    if (!pipe_) {
        const DWORD error = GetLastError();
        // The player has taken it back: another effect was chosen meanwhile. That is its will and no fault.
        if (error == ERROR_FILE_NOT_FOUND)
            end_process(exit_code::pipe_open);
        throw fatal_error(exit_code::pipe_open,
                          "the pipe \"" + name + "\" cannot be opened: " + win::error_text(error));
    }
    reserve(first_capacity);
}

vsthost::pipe_client::~pipe_client()
{
    if (!reading_)
        return;
    CancelIoEx(pipe_.get(), &read_);
    DWORD transferred = 0;
    GetOverlappedResult(pipe_.get(), &read_, &transferred, TRUE);
}

void vsthost::pipe_client::gone()
{
    if (at_end_ == at_pipe_end::tell)
        throw pipe_ended();
    end_process(exit_code::ok);
}

void vsthost::pipe_client::reserve(size_t count)
{
    auto larger = std::make_unique_for_overwrite<std::byte[]>(count);
    if (end_ != begin_)
        std::memcpy(larger.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    buffer_ = std::move(larger);
    capacity_ = count;
}

void vsthost::pipe_client::start_read()
{
    read_ = {};
    read_.hEvent = read_event_.get(); // reset by the read itself
    const auto room = static_cast<DWORD>(std::min(capacity_ - end_, largest_transfer));
    if (!ReadFile(pipe_.get(), buffer_.get() + end_, room, nullptr, &read_) &&
        GetLastError() != ERROR_IO_PENDING)
        gone();
    reading_ = true;
}

void vsthost::pipe_client::finish_read()
{
    DWORD transferred = 0;
    const bool done = GetOverlappedResult(pipe_.get(), &read_, &transferred, TRUE) ||
                      GetLastError() == ERROR_OPERATION_ABORTED;
    reading_ = false;
    if (!done)
        gone();
    end_ += transferred;
}

std::span<const std::byte> vsthost::pipe_client::peek(size_t count)
{
    // Samples are used where they lie, so what is asked for starts on a multiple of their size.
    if (begin_ == end_) {
        begin_ = end_ = 0;
    } else if (begin_ % 8 != 0 || begin_ + count > capacity_) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    while (end_ - begin_ < count) {
        if (end_ == capacity_)
            reserve(std::min(std::max(capacity_ * 2, first_capacity), begin_ + count));
        start_read();
        finish_read();
    }
    return {buffer_.get() + begin_, count};
}

void vsthost::pipe_client::consume(size_t count) noexcept
{
    begin_ += count;
}

void vsthost::pipe_client::write(std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        OVERLAPPED operation{};
        operation.hEvent = write_event_.get(); // reset by the write itself
        const auto piece = static_cast<DWORD>(std::min(bytes.size(), largest_transfer));
        if (!WriteFile(pipe_.get(), bytes.data(), piece, nullptr, &operation) &&
            GetLastError() != ERROR_IO_PENDING)
            gone();
        DWORD written = 0;
        if (!GetOverlappedResult(pipe_.get(), &operation, &written, TRUE) || written == 0)
            gone();
        bytes = bytes.subspan(written);
    }
}

void vsthost::pipe_client::wait_for(HANDLE done)
{
    while (WaitForSingleObject(done, 0) != WAIT_OBJECT_0) {
        if (end_ == capacity_ && capacity_ < read_ahead_limit)
            reserve(capacity_ * 2);
        if (end_ == capacity_) {
            // A peer that floods instead of waiting for replies: what it sent is kept, its end unseen for
            // now.
            WaitForSingleObject(done, INFINITE);
            return;
        }
        start_read();
        const HANDLE either[] = {done, read_event_.get()};
        if (WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_OBJECT_0)
            CancelIoEx(pipe_.get(), &read_);
        finish_read(); // a read that came first keeps its bytes
    }
}
