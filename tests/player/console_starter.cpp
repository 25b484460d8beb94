// "console_starter" EVENT PROGRAM ARGUMENTS, all in quotes: runs the program with the streams of the console
// it is in, presses Ctrl+C there when the event of that name is set, and hands on the exit code. Wine gives a
// program in a pseudo console no standard handles and takes no Ctrl+C from its keyboard.

#include "win/handle.h"

#include <string>

namespace {

win::file_handle open_console(const wchar_t* name)
{
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return win::file_handle(CreateFileW(name, GENERIC_READ | GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, OPEN_EXISTING, 0,
                                        nullptr));
}

// Ctrl+C is the other program's business.
BOOL WINAPI ignore_event(DWORD)
{
    return TRUE;
}

} // namespace

int wmain(int, wchar_t** arguments)
{
    SetConsoleCtrlHandler(&ignore_event, TRUE);
    const win::file_handle input = open_console(L"CONIN$");
    const win::file_handle output = open_console(L"CONOUT$");
    const win::kernel_handle press(OpenEventW(SYNCHRONIZE, FALSE, arguments[1]));
    if (!input || !output || !press)
        return 97;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.get();
    startup.hStdOutput = startup.hStdError = output.get();
    std::wstring line = GetCommandLineW();
    for (int i = 0; i < 2; ++i)
        line.erase(0, line.find(L"\" \"") + 2);
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &process))
        return 98;
    const HANDLE either[] = {process.hProcess, press.get()};
    if (WaitForMultipleObjects(2, either, FALSE, 60'000) == WAIT_OBJECT_0 + 1)
        GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    WaitForSingleObject(process.hProcess, 60'000);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    TerminateProcess(process.hProcess, 99);
    return static_cast<int>(code);
}
