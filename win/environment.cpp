#include "win/environment.h"

#include "win/utf.h"

#include <windows.h>

bool uGetEnvironmentVariable(const char* name, std::string& out)
{
    const std::wstring wide_name = win::to_utf16(name);
    std::wstring value(256, L'\0');
    for (;;) {
        // An empty value also gives length 0; only the last error tells it from a missing one.
        SetLastError(ERROR_SUCCESS);
        const DWORD length =
            GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
        if (length == 0 && GetLastError() != ERROR_SUCCESS)
            return false;
        if (length < value.size()) {
            value.resize(length);
            out = win::to_utf8(value);
            return true;
        }
        value.resize(length); // too small: the size it wants, with the terminator
    }
}
