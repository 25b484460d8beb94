#include "win/long_path.h"

#include "win/utf.h"

#include <windows.h>

std::wstring win::full_path(const std::string& path)
{
    std::wstring wide = to_utf16(path);
    if (wide.starts_with(L"\\\\?\\"))
        return wide;
    std::wstring full(MAX_PATH, L'\0');
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

std::wstring win::long_path(const std::string& path)
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
