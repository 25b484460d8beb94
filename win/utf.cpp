#include "win/utf.h"

#include <windows.h>

#include <climits>
#include <stdexcept>

namespace {

int checked_length(size_t length)
{
    if (length > INT_MAX)
        throw std::length_error("text too long");
    return static_cast<int>(length);
}

} // namespace

std::wstring win::to_utf16(std::string_view utf8)
{
    const int in = checked_length(utf8.size());
    if (in == 0)
        return {};
    std::wstring out(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), in, nullptr, 0)),
                     L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), in, out.data(), checked_length(out.size()));
    return out;
}

std::string win::to_utf8(std::wstring_view utf16)
{
    const int in = checked_length(utf16.size());
    if (in == 0)
        return {};
    std::string out(
        static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, utf16.data(), in, nullptr, 0, nullptr, nullptr)),
        '\0');
    WideCharToMultiByte(CP_UTF8, 0, utf16.data(), in, out.data(), checked_length(out.size()), nullptr,
                        nullptr);
    return out;
}
