#include "player/system/paths.h"

#include "win/handle.h"
#include "win/long_path.h"
#include "win/utf.h"

namespace player {

namespace {

size_t last_separator(const std::string& path)
{
    return path.find_last_of("\\/");
}

win::file_handle open_for_identity(const std::string& path)
{
    return win::file_handle(CreateFileW(win::long_path(path).c_str(), 0,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

} // namespace

std::string absolute_path(const std::string& path)
{
    return win::to_utf8(win::full_path(path));
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
    return GetFileAttributesW(win::long_path(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool is_folder(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(win::long_path(path).c_str());
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
