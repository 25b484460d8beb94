// Pseudo consoles came with a later release of Windows 10 than the build asks for.
#define NTDDI_VERSION 0x0A000006

#include "pseudo_console.h"

#include "player/os_path.h"
#include "run_program.h"
#include "win/utf.h"

#include <stdexcept>

pseudo_console::pseudo_console(const std::string& program, const std::vector<std::string>& arguments,
                               short columns)
{
    win::file_handle console_in, console_out;
    if (!CreatePipe(console_in.put(), input_.put(), nullptr, 0) ||
        !CreatePipe(output_.put(), console_out.put(), nullptr, 0))
        throw std::runtime_error("no pipes");
    HPCON console = nullptr;
    if (FAILED(CreatePseudoConsole({columns, 50}, console_in.get(), console_out.get(), 0, &console)))
        throw std::runtime_error("no pseudo console");
    console_ = console;

    std::vector<unsigned char> space(1024);
    auto* attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(space.data());
    SIZE_T size = space.size();
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof(startup);
    // Without handles given, the console's are used, whatever this program's are.
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.lpAttributeList = attributes;
    const std::string event = "qvx-press-" + std::to_string(GetCurrentProcessId());
    press_.reset(CreateEventW(nullptr, TRUE, FALSE, win::to_utf16(event).c_str()));
    const std::string starter = tests_folder() + "\\console_starter.exe";
    std::vector<std::string> all = arguments;
    all.insert(all.begin(), {starter, event, program});
    std::wstring line = join_arguments(all);
    PROCESS_INFORMATION process{};
    if (!InitializeProcThreadAttributeList(attributes, 1, 0, &size) ||
        !UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE, console,
                                   sizeof(console), nullptr, nullptr) ||
        !CreateProcessW(player::os_path(starter).c_str(), line.data(), nullptr, nullptr, FALSE,
                        EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &startup.StartupInfo, &process)) {
        const DWORD code = GetLastError();
        ClosePseudoConsole(console);
        throw std::runtime_error("cannot start " + program + ": error " + std::to_string(code));
    }
    CloseHandle(process.hThread);
    process_.reset(process.hProcess);
    reader_ = std::thread([this] { read(); });
}

pseudo_console::~pseudo_console()
{
    TerminateProcess(process_.get(), 99);
    WaitForSingleObject(process_.get(), 20'000);
    ClosePseudoConsole(console_); // the reader meets the end of the pipe
    input_.reset();
    reader_.join();
}

void pseudo_console::read()
{
    char buffer[4096];
    DWORD got = 0;
    while (ReadFile(output_.get(), buffer, sizeof(buffer), &got, nullptr) && got != 0) {
        const std::lock_guard lock(mutex_);
        bytes_.append(buffer, got);
    }
}

void pseudo_console::press_ctrl_c() const
{
    SetEvent(press_.get());
}

std::string pseudo_console::drawn() const
{
    const std::lock_guard lock(mutex_);
    std::string text;
    for (size_t i = 0; i < bytes_.size(); ++i) {
        if (bytes_[i] != '\x1b') {
            text += bytes_[i];
            continue;
        }
        // "ESC [ ... letter", "ESC ] ... BEL"
        if (i + 1 < bytes_.size() && bytes_[i + 1] == '[')
            for (i += 2; i < bytes_.size() && (bytes_[i] < '@' || bytes_[i] > '~');)
                ++i;
        else if (i + 1 < bytes_.size() && bytes_[i + 1] == ']')
            while (i < bytes_.size() && bytes_[i] != '\a')
                ++i;
    }
    return text;
}

bool pseudo_console::wait_for(const std::string& text) const
{
    for (int i = 0; i < 2000; ++i) {
        if (drawn().find(text) != std::string::npos)
            return true;
        Sleep(10);
    }
    return false;
}

bool pseudo_console::wait_for_end(unsigned limit_ms, unsigned& exit_code) const
{
    DWORD code = 0;
    if (WaitForSingleObject(process_.get(), limit_ms) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(process_.get(), &code))
        return false;
    exit_code = code;
    return true;
}
