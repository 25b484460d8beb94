// What any program of a worker's kind has to do before it can answer: load the system's libraries that a
// worker needs, initialise OLE, open the pipe. Ends with the pipe.

#include "win/handle.h"

#include <windows.h>

#include <ole2.h>
#include <shellapi.h>

#include <cwchar>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count != 2)
        return 2;
    const win::file_handle pipe(
        CreateFileW(arguments[1], GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    // A window class of its own is what makes the window library ready.
    IsWindow(nullptr);
    if (FAILED(OleInitialize(nullptr)))
        return 1;
    char ready = 1;
    DWORD done = 0;
    WriteFile(pipe.get(), &ready, 1, &done, nullptr);
    ReadFile(pipe.get(), &ready, 1, &done, nullptr);
    TerminateProcess(GetCurrentProcess(), 0);
    return 0;
}
