#include "vsthost/report.h"

#include "win/utf.h"

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace {

constexpr size_t most_waiting = 256;

void write_all(HANDLE to, std::string_view text)
{
    while (!text.empty()) {
        DWORD written = 0;
        if (!WriteFile(to, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) || written == 0)
            return;
        text.remove_prefix(written);
    }
}

class line_queue {
public:
    void push(std::string line)
    {
        {
            const std::lock_guard lock(mutex_);
            if (!started_) {
                started_ = true;
                std::thread([this] { run(); }).detach();
            }
            if (lines_.size() >= most_waiting) {
                ++dropped_;
                return;
            }
            if (dropped_ != 0)
                line = "(" + std::to_string(dropped_) + " lines dropped)\n" + line;
            dropped_ = 0;
            lines_.push_back(std::move(line));
        }
        changed_.notify_all();
    }
    bool flush(unsigned milliseconds)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                 [this] { return lines_.empty() && !writing_; });
    }

private:
    [[noreturn]] void run()
    {
        const HANDLE out = GetStdHandle(STD_ERROR_HANDLE);
        for (;;) {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return !lines_.empty(); });
            const std::string line = std::move(lines_.front());
            lines_.pop_front();
            writing_ = true;
            lock.unlock();
            if (out != nullptr && out != INVALID_HANDLE_VALUE)
                write_all(out, line);
            lock.lock();
            writing_ = false;
            lock.unlock();
            changed_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    size_t dropped_ = 0;
    bool started_ = false;
    bool writing_ = false;
};

// Never destroyed: its thread runs until the process ends.
line_queue& queue()
{
    static auto* const instance = new line_queue;
    return *instance;
}

} // namespace

void vsthost::report(std::string_view line)
{
    std::string text(line);
    for (char& c : text)
        if (c == '\r' || c == '\n')
            c = ' ';
    text += '\n';
    queue().push(std::move(text));
}

bool vsthost::flush_reports(unsigned milliseconds)
{
    return queue().flush(milliseconds);
}

void vsthost::print_to_user(std::string_view text)
{
    const HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    if (out != nullptr && out != INVALID_HANDLE_VALUE && GetFileType(out) != FILE_TYPE_UNKNOWN) {
        write_all(out, text);
        return;
    }
    if (!AttachConsole(ATTACH_PARENT_PROCESS))
        return;
    const HANDLE console = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_WRITE, nullptr,
                                       OPEN_EXISTING, 0, nullptr);
    if (console == INVALID_HANDLE_VALUE)
        return;
    const std::wstring wide = win::to_utf16(text);
    DWORD written = 0;
    WriteConsoleW(console, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
    CloseHandle(console);
}
