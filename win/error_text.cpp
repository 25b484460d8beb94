#include "win/error_text.h"

#include "win/utf.h"

#include <windows.h>

#include <algorithm>

std::string win::error_text(uint32_t code)
{
    wchar_t buffer[512];
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK, nullptr,
        code, 0, buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
    std::string text = to_utf8(std::wstring_view(buffer, length));
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::replace(text.begin(), text.end(), '\r', ' ');
    while (!text.empty() && (text.back() == ' ' || text.back() == '.'))
        text.pop_back();
    return text.empty() ? "Windows error " + std::to_string(code) : text;
}
