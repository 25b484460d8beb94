#include "catalogue/bundle.h"

#include "win/utf.h"

#include <windows.h>

namespace {

// INVALID_FILE_ATTRIBUTES when there is nothing.
DWORD attributes_of(const std::wstring& path) noexcept
{
    return GetFileAttributesW(path.c_str());
}

bool is_folder(const std::wstring& path) noexcept
{
    const DWORD attributes = attributes_of(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool is_file(const std::wstring& path) noexcept
{
    const DWORD attributes = attributes_of(path);
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool ends_in_vst3(const std::wstring& path) noexcept
{
    static const wchar_t extension[] = L".vst3";
    constexpr size_t length = 5;
    return path.size() > length && CompareStringOrdinal(path.c_str() + path.size() - length, length,
                                                        extension, length, TRUE) == CSTR_EQUAL;
}

} // namespace

std::optional<std::string> moduleInBundle(const std::string& path)
{
    std::wstring folder = win::to_utf16(path);
    while (!folder.empty() && (folder.back() == L'\\' || folder.back() == L'/'))
        folder.pop_back();
    if (!ends_in_vst3(folder) || !is_folder(folder))
        return std::nullopt;
    const size_t separator = folder.find_last_of(L"\\/:");
    const std::wstring name = separator == std::wstring::npos ? folder : folder.substr(separator + 1);
    for (const wchar_t* platform : {L"x86_64-win", L"x86-win"}) {
        const std::wstring file = folder + L"\\Contents\\" + platform + L"\\" + name;
        if (is_file(file))
            return win::to_utf8(file);
    }
    return std::nullopt;
}

std::string resolveModulePath(const std::string& path)
{
    return moduleInBundle(path).value_or(path);
}
