#include "worker/pipeName.h"

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

win::file_handle createPipe(const std::wstring& name, DWORD access, SECURITY_ATTRIBUTES* attributes)
{
    constexpr DWORD bufferSize = 65536; // bytes, each way
    win::file_handle end(CreateNamedPipeW(
        name.c_str(), access | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, bufferSize, bufferSize, 0, attributes));
    if (!end)
        throw std::runtime_error("pipe creation failure");
    return end;
}

} // namespace Nv
