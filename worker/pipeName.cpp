#include "worker/pipeName.h"

#include <windows.h>

#include <objbase.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace Nv {

std::string makeGuidText()
{
    GUID guid;
    if (FAILED(CoCreateGuid(&guid)))
        throw std::runtime_error("CoCreateGuid failure");
    uint8_t bytes[sizeof(guid)];
    std::memcpy(bytes, &guid, sizeof(guid));

    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::wstring makePipeName()
{
    const std::string guid = makeGuidText();
    return L"\\\\.\\pipe\\" + std::wstring(guid.begin(), guid.end());
}

} // namespace Nv
