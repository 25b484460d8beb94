#include "player/player_error.h"

#include "win/utf.h"

#include <windows.h>

#include <algorithm>

namespace player {

std::string windows_error_text(uint32_t code)
{
    wchar_t buffer[512];
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK, nullptr,
        code, 0, buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
    std::string text = win::to_utf8(std::wstring_view(buffer, length));
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::replace(text.begin(), text.end(), '\r', ' ');
    while (!text.empty() && (text.back() == ' ' || text.back() == '.'))
        text.pop_back();
    return text.empty() ? "Windows error " + std::to_string(code) : text;
}

void throw_file_error(const std::string& path, const char* what, uint32_t code)
{
    std::string advice;
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        advice = "; check the path";
        break;
    case ERROR_ACCESS_DENIED:
        advice = "; choose a file or folder that you may access";
        break;
    case ERROR_SHARING_VIOLATION:
        advice = "; close the program that uses it";
        break;
    case ERROR_DISK_FULL:
        advice = "; free some space";
        break;
    default:
        break;
    }
    throw player_error(path + ": " + what + ": " + windows_error_text(code) + advice);
}

} // namespace player
