#include "player/services/native_filesystem.h"

#include "player/system/paths.h"
#include "sdk/exceptions.h"
#include "win/handle.h"
#include "win/long_path.h"
#include "win/utf.h"

#include <algorithm>

namespace player {

namespace {

constexpr std::string_view file_scheme = "file://";

[[noreturn]] void throw_io_error(DWORD code)
{
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY: // a file where a folder should be
    case ERROR_INVALID_DRIVE:
        throw exception_io_not_found();
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_WRITE_PROTECT:
        throw exception_io_denied();
    default:
        throw exception_win32(code);
    }
}

void check_abort(const abort_callback& abort)
{
    if (abort.is_aborting())
        throw exception_aborted();
}

std::string canonical(std::string_view path)
{
    if (path.starts_with(file_scheme))
        path.remove_prefix(file_scheme.size());
    // "file:///C:/x"
    if (path.size() > 2 && path[0] == '/' && path[2] == ':')
        path.remove_prefix(1);
    std::string full = absolute_path(std::string(path));
    while (full.size() > 3 && full.ends_with('\\') && full[full.size() - 2] != ':')
        full.pop_back();
    return full;
}

class native_file : public file {
public:
    using service_interface = file;

    explicit native_file(win::file_handle handle)
        : handle_(std::move(handle))
    {
    }

    size_t read(void* buffer, size_t byte_count, abort_callback& abort) override
    {
        size_t total = 0;
        while (total < byte_count) {
            check_abort(abort);
            DWORD got = 0;
            if (!ReadFile(handle_.get(), static_cast<char*>(buffer) + total, part(byte_count - total), &got,
                          nullptr))
                throw_io_error(GetLastError());
            if (got == 0)
                break;
            total += got;
        }
        return total;
    }
    void write(const void* buffer, size_t byte_count, abort_callback& abort) override
    {
        for (size_t total = 0; total < byte_count;) {
            check_abort(abort);
            DWORD put = 0;
            if (!WriteFile(handle_.get(), static_cast<const char*>(buffer) + total, part(byte_count - total),
                           &put, nullptr))
                throw_io_error(GetLastError());
            if (put == 0) // how some drives say that they are full
                throw_io_error(ERROR_DISK_FULL);
            total += put;
        }
    }
    uint64_t get_size(abort_callback&) override
    {
        if (GetFileType(handle_.get()) != FILE_TYPE_DISK)
            return size_unknown;
        LARGE_INTEGER size;
        if (!GetFileSizeEx(handle_.get(), &size))
            throw_io_error(GetLastError());
        return static_cast<uint64_t>(size.QuadPart);
    }

private:
    // Short enough that an abort is noticed soon.
    static DWORD part(size_t byte_count) { return static_cast<DWORD>(std::min<size_t>(byte_count, 1 << 20)); }

    win::file_handle handle_;
};

struct find_closer {
    HANDLE handle;
    ~find_closer() { FindClose(handle); }
};

} // namespace

bool native_filesystem::is_our_path(const char* path) const noexcept
{
    const std::string_view text(path);
    return text.starts_with(file_scheme) || text.find("://") == std::string_view::npos;
}

void native_filesystem::get_canonical_path(const char* path, string_out& out) const
{
    set_text(out, canonical(path));
}

void native_filesystem::get_display_path(const char* path, string_out& out) const
{
    set_text(out, canonical(path));
}

bool native_filesystem::get_native_path(const char* path, string_out& out) const
{
    if (!is_our_path(path))
        return false;
    set_text(out, canonical(path));
    return true;
}

void native_filesystem::open(service_ptr_t<file>& out, const char* path, open_mode mode,
                             abort_callback& abort)
{
    check_abort(abort);
    const bool reading = mode == open_mode::read;
    const DWORD sharing = reading ? FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE : FILE_SHARE_READ;
    win::file_handle handle(
        CreateFileW(win::long_path(canonical(path)).c_str(), reading ? GENERIC_READ : GENERIC_WRITE, sharing,
                    nullptr, reading ? OPEN_EXISTING : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle)
        throw_io_error(GetLastError());
    out = service_new<native_file>(std::move(handle));
}

void native_filesystem::list_folder(const char* path, folder_listing& receiver, abort_callback& abort)
{
    check_abort(abort);
    const std::string folder = canonical(path);
    const std::string prefix = folder.ends_with('\\') ? folder : folder + '\\';
    WIN32_FIND_DATAW entry;
    // The pattern's two characters must not be what makes the path too long.
    const HANDLE find = FindFirstFileW(win::long_path(prefix + "*").c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        // The root of an empty drive has not even "." in it.
        if (code == ERROR_FILE_NOT_FOUND && is_folder(folder))
            return;
        throw_io_error(code);
    }
    const find_closer closer{find};
    do {
        check_abort(abort);
        const std::string name = win::to_utf8(entry.cFileName);
        if (name != "." && name != "..")
            receiver.on_entry((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, name.c_str(),
                              (prefix + name).c_str());
    } while (FindNextFileW(find, &entry));
    if (const DWORD code = GetLastError(); code != ERROR_NO_MORE_FILES)
        throw_io_error(code);
}

} // namespace player
