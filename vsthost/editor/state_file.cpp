#include "vsthost/editor/state_file.h"

#include "vsthost/exit_codes.h"
#include "vsthost/report.h"
#include "win/error_text.h"
#include "win/handle.h"
#include "win/long_path.h"
#include "win/utf.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr int64_t largest_state = int64_t{256} * 1024 * 1024;
// A reader holds the file for a moment: tried again at once and for a while; then somebody holds it for good,
// which is told, and it is tried now and then.
constexpr auto quick_pause = 10ms;
constexpr auto quick_time = 500ms;
constexpr auto slow_pause = 250ms;

// A new file beside `path`, under a name that no file there has: neither a file of the user's nor what a link
// leads to is written to or lost. Empty when there can be none.
win::file_handle create_beside(const std::wstring& path, std::wstring& name)
{
    static std::atomic<unsigned> number{0};
    const std::wstring begin = path.substr(0, path.find_last_of(L"\\/") + 1) + L"qvxVSTHost-" +
                               std::to_wstring(GetCurrentProcessId()) + L"-";
    win::file_handle file;
    do {
        name = begin + std::to_wstring(++number) + L".new";
        file.reset(CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    } while (!file && GetLastError() == ERROR_FILE_EXISTS);
    return file;
}

bool write_all(HANDLE file, const std::vector<uint8_t>& bytes)
{
    DWORD done = 0;
    return bytes.empty() ||
           (WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr) &&
            done == bytes.size());
}

[[noreturn]] void unreadable(const std::string& path)
{
    const DWORD error = GetLastError();
    throw vsthost::fatal_error(vsthost::exit_code::state_file,
                               "cannot read the state file \"" + path +
                                   "\": " + vsthost::file_error_text(path, error));
}

} // namespace

std::string vsthost::file_error_text(const std::string& path, unsigned long error)
{
    const DWORD attributes = GetFileAttributesW(win::long_path(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0
               ? "is a folder; name a file"
               : win::error_text(error);
}

std::vector<uint8_t> vsthost::read_state_file(const std::string& path, unsigned milliseconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    win::file_handle file;
    for (;;) {
        file.reset(CreateFileW(win::long_path(path).c_str(), GENERIC_READ,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                               0, nullptr));
        const DWORD error = file ? 0 : GetLastError();
        if (error == ERROR_FILE_NOT_FOUND)
            return {};
        if (error != ERROR_SHARING_VIOLATION || std::chrono::steady_clock::now() >= end)
            break;
        std::this_thread::sleep_for(quick_pause);
    }
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size))
        unreadable(path);
    if (size.QuadPart >= largest_state)
        throw fatal_error(exit_code::state_file, "\"" + path + "\" is no state: it holds 256 MiB or more");
    std::vector<uint8_t> bytes(static_cast<size_t>(size.QuadPart));
    DWORD done = 0;
    if (!bytes.empty() &&
        (!ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr) ||
         done != bytes.size()))
        unreadable(path);
    return bytes;
}

unsigned long vsthost::replace_state_file(const std::string& path, const std::vector<uint8_t>& bytes)
{
    const std::wstring final_name = win::long_path(path);
    std::wstring new_name;
    win::file_handle file = create_beside(final_name, new_name);
    if (!file)
        return GetLastError();
    const bool written = write_all(file.get(), bytes);
    DWORD error = written ? 0 : GetLastError();
    file.reset();
    if (written && MoveFileExW(new_name.c_str(), final_name.c_str(), MOVEFILE_REPLACE_EXISTING))
        return 0;
    if (written)
        error = GetLastError();
    DeleteFileW(new_name.c_str());
    return error != 0 ? error : ERROR_WRITE_FAULT;
}

vsthost::state_writer::state_writer(std::string path, std::vector<uint8_t> content)
    : path_(std::move(path))
    , content_(std::move(content))
    , thread_([this] { run(); })
{
}

vsthost::state_writer::~state_writer()
{
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void vsthost::state_writer::put(std::vector<uint8_t> bytes)
{
    {
        const std::lock_guard lock(mutex_);
        // Against what is on its way, too: it may be in the file by now.
        if (bytes == (waiting_ ? wanted_ : content_))
            return;
        wanted_ = std::move(bytes);
        waiting_ = true;
    }
    changed_.notify_all();
}

bool vsthost::state_writer::finish(unsigned milliseconds)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return !waiting_; });
}

void vsthost::state_writer::run()
{
    using clock = std::chrono::steady_clock;
    bool told = false;
    bool refused = false;
    clock::time_point first_refusal;
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return waiting_ || stop_; });
        if (stop_)
            return;
        const std::vector<uint8_t> now = wanted_;
        lock.unlock();
        const unsigned long error = replace_state_file(path_, now);
        lock.lock();
        if (error == 0) {
            refused = false;
            content_ = now;
            if (wanted_ == content_) {
                waiting_ = false;
                changed_.notify_all();
            }
            continue;
        }
        if (!std::exchange(refused, true))
            first_refusal = clock::now();
        const bool quick = clock::now() - first_refusal < quick_time;
        if (!quick && !std::exchange(told, true))
            report("the effect's state cannot be written to \"" + path_ +
                   "\": " + file_error_text(path_, error) + "; it is tried again");
        changed_.wait_for(lock, quick ? quick_pause : slow_pause, [this] { return stop_; });
    }
}
