#include "player/system/os_path.h"

#include "win/handle.h"
#include "win/utf.h"

namespace player {

namespace {

std::wstring full_path(const std::string& path)
{
    std::wstring wide = win::to_utf16(path);
    if (wide.empty() || wide.starts_with(L"\\\\?\\"))
        return wide;
    std::wstring full(260, L'\0');
    for (;;) {
        const DWORD length =
            GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0)
            return wide;
        const bool fits = length < full.size();
        full.resize(length);
        if (fits)
            return full;
    }
}

size_t last_separator(const std::string& path)
{
    return path.find_last_of("\\/");
}

win::file_handle open_for_identity(const std::string& path)
{
    return win::file_handle(CreateFileW(os_path(path).c_str(), 0,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

} // namespace

std::string absolute_path(const std::string& path)
{
    return win::to_utf8(full_path(path));
}

std::wstring os_path(const std::string& path)
{
    // Folders are limited to 248 characters without the prefix, files to 260.
    constexpr size_t short_enough = 240;
    std::wstring full = full_path(path);
    if (full.size() < short_enough || full.starts_with(L"\\\\?\\") || full.starts_with(L"\\\\.\\"))
        return full;
    if (full.starts_with(L"\\\\"))
        return L"\\\\?\\UNC" + full.substr(1);
    return L"\\\\?\\" + full;
}

std::string file_name(const std::string& path)
{
    const size_t at = last_separator(path);
    return at == std::string::npos ? path : path.substr(at + 1);
}

std::string folder_of(const std::string& path)
{
    const size_t at = last_separator(path);
    return at == std::string::npos ? std::string() : path.substr(0, at);
}

bool path_exists(const std::string& path)
{
    return GetFileAttributesW(os_path(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool is_folder(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(os_path(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool is_same_file(const std::string& a, const std::string& b)
{
    const win::file_handle file_a = open_for_identity(a);
    const win::file_handle file_b = open_for_identity(b);
    BY_HANDLE_FILE_INFORMATION info_a, info_b;
    return file_a && file_b && GetFileInformationByHandle(file_a.get(), &info_a) &&
           GetFileInformationByHandle(file_b.get(), &info_b) &&
           info_a.dwVolumeSerialNumber == info_b.dwVolumeSerialNumber &&
           info_a.nFileIndexHigh == info_b.nFileIndexHigh && info_a.nFileIndexLow == info_b.nFileIndexLow;
}

std::string program_folder()
{
    std::wstring path(260, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return folder_of(win::to_utf8(path));
        }
        path.resize(path.size() * 2);
    }
}

} // namespace player
