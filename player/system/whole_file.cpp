#include "player/system/whole_file.h"

#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "win/handle.h"
#include "win/long_path.h"

namespace player {

namespace {

constexpr DWORD patience_ms = 2000;
constexpr DWORD retry_ms = 20;

bool passes_by_itself(DWORD code)
{
    return code == ERROR_SHARING_VIOLATION || code == ERROR_ACCESS_DENIED || code == ERROR_LOCK_VIOLATION;
}

// Calls `attempt` (returns an error code) until it succeeds, fails for good or patience ends.
template <class Attempt>
DWORD with_patience(Attempt&& attempt)
{
    const ULONGLONG began = GetTickCount64();
    for (;;) {
        const DWORD code = attempt();
        if (!passes_by_itself(code) || GetTickCount64() - began >= patience_ms)
            return code;
        Sleep(retry_ms);
    }
}

void make_folder(const std::string& path)
{
    if (path.empty() || is_folder(path))
        return;
    if (const std::string above = folder_of(path); above.size() > 2)
        make_folder(above);
    CreateDirectoryW(win::long_path(path).c_str(), nullptr); // a failure shows when the file is made
}

// A name in the folder that no other thread of any process has.
std::string fresh_name(const std::string& folder)
{
    return folder + "\\qvxplayer-" + std::to_string(GetCurrentThreadId()) + "-" +
           std::to_string(GetTickCount64()) + ".new";
}

// Writes and flushes; 0 or the error code.
DWORD write_new_file(const std::string& path, std::span<const uint8_t> bytes)
{
    const win::file_handle file(CreateFileW(win::long_path(path).c_str(), GENERIC_WRITE, 0, nullptr,
                                            CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return GetLastError();
    DWORD written = 0;
    if (!bytes.empty() &&
        !WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
        return GetLastError();
    if (written != bytes.size())
        return ERROR_DISK_FULL;
    return FlushFileBuffers(file.get()) ? 0 : GetLastError();
}

} // namespace

std::optional<std::vector<uint8_t>> read_whole_file(const std::string& path, uint64_t max_bytes)
{
    if (is_folder(path))
        throw player_error(path + ": is a folder; name a file");
    win::file_handle file;
    const DWORD failed = with_patience([&]() -> DWORD {
        file.reset(CreateFileW(win::long_path(path).c_str(), GENERIC_READ,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr));
        return file ? 0 : GetLastError();
    });
    if (failed == ERROR_FILE_NOT_FOUND || failed == ERROR_PATH_NOT_FOUND)
        return std::nullopt;
    if (failed)
        throw_file_error(path, "cannot be opened", failed);
    LARGE_INTEGER size;
    if (!GetFileSizeEx(file.get(), &size))
        throw_file_error(path, "cannot be read", GetLastError());
    if (static_cast<uint64_t>(size.QuadPart) > max_bytes)
        throw player_error(path + ": is too large (" + std::to_string(size.QuadPart) + " bytes, at most " +
                           std::to_string(max_bytes) + "); check that it is the right file");
    std::vector<uint8_t> bytes(static_cast<size_t>(size.QuadPart));
    DWORD got = 0;
    if (!bytes.empty() &&
        !ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr))
        throw_file_error(path, "cannot be read", GetLastError());
    bytes.resize(got);
    return bytes;
}

void replace_whole_file(const std::string& path, std::span<const uint8_t> bytes)
{
    const std::string folder = folder_of(absolute_path(path));
    make_folder(folder);
    const std::string fresh = fresh_name(folder);
    if (const DWORD code = write_new_file(fresh, bytes)) {
        if (code != ERROR_FILE_EXISTS) // if there is one all the same it stays
            DeleteFileW(win::long_path(fresh).c_str());
        throw_file_error(path, "cannot be written", code);
    }
    if (const uint32_t code = rename_over(fresh, path)) {
        DeleteFileW(win::long_path(fresh).c_str());
        throw_file_error(path, "cannot be replaced", code);
    }
}

void check_replaceable(const std::string& path)
{
    const std::string folder = folder_of(absolute_path(path));
    if (!is_folder(folder))
        throw player_error(path + ": cannot be written: there is no such folder; check the path");
    if (is_folder(path))
        throw player_error(path + ": is a folder; name a file");
    const DWORD attributes = GetFileAttributesW(win::long_path(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0)
        throw player_error(path + ": is write-protected; take the protection away or name another file");
    // Nothing is renamed over a file that is open, however much its user shares.
    const DWORD kept = with_patience([&]() -> DWORD {
        const win::file_handle old(CreateFileW(win::long_path(path).c_str(), DELETE, 0, nullptr,
                                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        return old || GetLastError() == ERROR_FILE_NOT_FOUND ? 0 : GetLastError();
    });
    if (kept)
        throw_file_error(path, passes_by_itself(kept) ? "cannot be replaced" : "cannot be written", kept);
    const win::file_handle trial(CreateFileW(win::long_path(fresh_name(folder)).c_str(),
                                             GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                             FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!trial)
        throw_file_error(path, "cannot be written", GetLastError());
}

uint32_t rename_over(const std::string& from, const std::string& to)
{
    return with_patience([&]() -> DWORD {
        return MoveFileExW(win::long_path(from).c_str(), win::long_path(to).c_str(),
                           MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
                   ? 0
                   : GetLastError();
    });
}

} // namespace player
