#include "vsthost/report.h"

#include "vsthost/early_thread.h"
#include "win/handle.h"
#include "win/srw_lock.h"
#include "win/utf.h"

#include <windows.h>

#include <atomic>
#include <deque>
#include <utility>

namespace {

constexpr size_t most_waiting = 256;

bool is_open(HANDLE stream)
{
    return stream != nullptr && stream != INVALID_HANDLE_VALUE && GetFileType(stream) != FILE_TYPE_UNKNOWN;
}

// To the console that this program was started from, which a program of the GUI subsystem is not joined to by
// itself.
bool write_to_console(std::string_view text)
{
    if (!AttachConsole(ATTACH_PARENT_PROCESS) && GetLastError() != ERROR_ACCESS_DENIED)
        return false;
    const win::file_handle console(CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_WRITE,
                                               nullptr, OPEN_EXISTING, 0, nullptr));
    if (!console)
        return false;
    const std::wstring wide = win::to_utf16(text);
    DWORD written = 0;
    return WriteConsoleW(console.get(), wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr) != 0;
}

void write_all(HANDLE to, std::string_view text)
{
    while (!text.empty()) {
        DWORD written = 0;
        if (!WriteFile(to, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) || written == 0)
            return;
        text.remove_prefix(written);
    }
}

// Windows' own locks and threads: what the C++ library does instead looks functions up, for which it waits
// for the loader, and a module that hangs in being loaded holds that for ever.
class line_queue {
public:
    void start()
    {
        if (!started_.exchange(true))
            vsthost::start_early_thread(run, this);
    }
    void push(std::string line)
    {
        start();
        {
            const win::exclusive_lock lock(lock_);
            if (lines_.size() >= most_waiting) {
                ++dropped_;
                return;
            }
            if (dropped_ != 0)
                line = "(" + std::to_string(dropped_) + " lines dropped)\n" + line;
            dropped_ = 0;
            lines_.push_back(std::move(line));
        }
        WakeAllConditionVariable(&changed_);
    }
    bool push_spare() noexcept
    {
        // The calling thread may hold the lock: it is a line of its own for which there is no memory.
        for (int tries = 0; !TryAcquireSRWLockExclusive(&lock_.native); ++tries) {
            if (tries == 100)
                return false;
            Sleep(1);
        }
        spare_wanted_ = !spare_.empty();
        ReleaseSRWLockExclusive(&lock_.native);
        WakeAllConditionVariable(&changed_);
        return true;
    }
    bool flush(unsigned milliseconds)
    {
        const ULONGLONG end = GetTickCount64() + milliseconds;
        const win::exclusive_lock lock(lock_);
        while (!lines_.empty() || spare_wanted_ || writing_) {
            const ULONGLONG now = GetTickCount64();
            if (now >= end)
                return false;
            SleepConditionVariableSRW(&changed_, &lock_.native, static_cast<DWORD>(end - now), 0);
        }
        return true;
    }

private:
    static DWORD WINAPI run(void* queue) { static_cast<line_queue*>(queue)->write_lines(); }
    [[noreturn]] void write_lines()
    {
        const HANDLE out = GetStdHandle(STD_ERROR_HANDLE);
        for (;;) {
            std::string line;
            {
                const win::exclusive_lock lock(lock_);
                while (lines_.empty() && !spare_wanted_)
                    SleepConditionVariableSRW(&changed_, &lock_.native, INFINITE, 0);
                if (lines_.empty()) {
                    line = std::move(spare_);
                    spare_wanted_ = false;
                } else {
                    line = std::move(lines_.front());
                    lines_.pop_front();
                }
                writing_ = true;
            }
            if (out != nullptr && out != INVALID_HANDLE_VALUE)
                write_all(out, line);
            else
                write_to_console(line);
            {
                const win::exclusive_lock lock(lock_);
                writing_ = false;
            }
            WakeAllConditionVariable(&changed_);
        }
    }

    win::srw_lock lock_; // guards what follows but `started_`
    CONDITION_VARIABLE changed_ = CONDITION_VARIABLE_INIT;
    std::deque<std::string> lines_;
    std::string spare_ = "out of memory\n";
    bool spare_wanted_ = false;
    size_t dropped_ = 0;
    bool writing_ = false;
    std::atomic<bool> started_{false};
};

// Never destroyed: its thread runs until the process ends.
line_queue& queue()
{
    static auto* const instance = new line_queue;
    return *instance;
}

} // namespace

void vsthost::start_reports()
{
    queue().start();
}

void vsthost::report(std::string_view line)
{
    std::string text(line);
    for (char& c : text)
        if (c == '\r' || c == '\n')
            c = ' ';
    text += '\n';
    queue().push(std::move(text));
}

bool vsthost::report_out_of_memory() noexcept
{
    return queue().push_spare();
}

bool vsthost::flush_reports(unsigned milliseconds)
{
    return queue().flush(milliseconds);
}

void vsthost::print_to_user(std::string_view text)
{
    const HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    if (is_open(out))
        write_all(out, text);
    else
        write_to_console(text);
}
