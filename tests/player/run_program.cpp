#include "run_program.h"

#include "player/system/paths.h"
#include "player/system/whole_file.h"
#include "support/test_options.h"
#include "win/long_path.h"

#include <stdexcept>

namespace {

win::file_handle inheritable_file(const std::string& path)
{
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    // On a busy machine Wine may still hold what the last program wrote to when its process has ended.
    return win::file_handle(CreateFileW(win::long_path(path).c_str(), GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::string text_of(const std::string& path)
{
    const auto bytes = player::read_whole_file(path, 100 << 20);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

} // namespace

std::string program_result::last_line() const
{
    const size_t end = err.size() - (err.ends_with('\n') ? 1 : 0);
    return err.substr(0, end).substr(err.substr(0, end).find_last_of('\n') + 1);
}

win::kernel_handle start_program(const std::string& program, const strings& arguments,
                                 const temp_folder& folder)
{
    const win::file_handle out = inheritable_file(folder.path("out"));
    const win::file_handle err = inheritable_file(folder.path("err"));
    std::wstring line = L"\"" + win::to_utf16(program) + L"\"";
    for (const std::string& each : arguments) // a backslash before a quote counts twice
        line += L" \"" + win::to_utf16(each) + (each.ends_with('\\') ? L"\\\"" : L"\"");
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.get();
    startup.hStdError = err.get();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(win::long_path(program).c_str(), line.data(), nullptr, nullptr, TRUE,
                        CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &process))
        throw std::runtime_error("cannot start " + program + ": error " + std::to_string(GetLastError()));
    CloseHandle(process.hThread);
    return win::kernel_handle(process.hProcess);
}

program_result run_program(const std::string& program, const strings& arguments)
{
    const DWORD limit_ms = test_options::long_run() ? 1'000'000 : 50'000;
    const temp_folder folder;
    const win::kernel_handle process = start_program(program, arguments, folder);
    const bool ended = WaitForSingleObject(process.get(), limit_ms) == WAIT_OBJECT_0;
    if (!ended) {
        TerminateProcess(process.get(), 99);
        WaitForSingleObject(process.get(), limit_ms);
    }
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    program_result result = {code, text_of(folder.path("out")), text_of(folder.path("err"))};
    if (!ended)
        throw std::runtime_error("ran into the limit: " + result.err);
    return result;
}

std::string test_module(const std::string& file)
{
    return player::program_folder() + "\\modules\\" + file;
}

strings with(strings arguments, const strings& more)
{
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}
