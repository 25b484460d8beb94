#include "run_program.h"

#include "player/system/os_path.h"
#include "player/system/whole_file.h"
#include "support/test_options.h"
#include "win/utf.h"

#include <stdexcept>

namespace {

DWORD limit_ms()
{
    return test_options::long_run() ? 1'000'000 : 50'000;
}

win::file_handle inheritable_file(const std::string& path)
{
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    // On a busy machine Wine may still hold what the last program wrote to when its process has ended.
    win::file_handle file(CreateFileW(player::os_path(path).c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        throw std::runtime_error("cannot make " + path);
    return file;
}

std::string text_of(const std::string& path)
{
    const auto bytes = player::read_whole_file(path, 100 << 20);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

} // namespace

std::string program_result::last_line() const
{
    if (!err.ends_with('\n'))
        return err;
    const size_t end = err.size() - 1;
    const size_t before = end == 0 ? std::string::npos : err.rfind('\n', end - 1);
    const size_t begin = before == std::string::npos ? 0 : before + 1;
    return err.substr(begin, end - begin);
}

std::wstring join_arguments(const std::vector<std::string>& arguments)
{
    std::wstring line;
    for (const std::string& argument : arguments) {
        line += line.empty() ? L"\"" : L" \"";
        size_t backslashes = 0;
        for (const wchar_t c : win::to_utf16(argument)) {
            if (c == L'"')
                line.append(backslashes + 1, L'\\'); // each before a quote counts twice, and the quote itself
            backslashes = c == L'\\' ? backslashes + 1 : 0;
            line += c;
        }
        line.append(backslashes, L'\\');
        line += L'"';
    }
    return line;
}

win::kernel_handle start_program(const std::string& program, const std::vector<std::string>& arguments,
                                 const std::string& out_file, const std::string& err_file)
{
    const win::file_handle out = inheritable_file(out_file);
    const win::file_handle err = inheritable_file(err_file);
    std::vector<std::string> all = arguments;
    all.insert(all.begin(), program);
    std::wstring line = join_arguments(all);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nullptr;
    startup.hStdOutput = out.get();
    startup.hStdError = err.get();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(player::os_path(program).c_str(), line.data(), nullptr, nullptr, TRUE,
                        CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &process))
        throw std::runtime_error("cannot start " + program + ": error " + std::to_string(GetLastError()));
    CloseHandle(process.hThread);
    return win::kernel_handle(process.hProcess);
}

program_result run_program(const std::string& program, const std::vector<std::string>& arguments)
{
    const temp_folder folder;
    const win::kernel_handle process =
        start_program(program, arguments, folder.path("out"), folder.path("err"));
    const bool ended = WaitForSingleObject(process.get(), limit_ms()) == WAIT_OBJECT_0;
    if (!ended) {
        TerminateProcess(process.get(), 99);
        WaitForSingleObject(process.get(), limit_ms());
    }
    program_result result;
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    result.exit_code = code;
    result.out = text_of(folder.path("out"));
    result.err = text_of(folder.path("err"));
    if (!ended)
        throw std::runtime_error("ran into the limit: " + result.err);
    return result;
}

std::string dist_folder()
{
    wchar_t value[32767];
    const DWORD length = GetEnvironmentVariableW(L"QVX_DIST", value, static_cast<DWORD>(std::size(value)));
    if (length == 0 || length >= std::size(value))
        throw std::runtime_error("set QVX_DIST to the folder of the shipped files");
    return win::to_utf8(std::wstring_view(value, length)) + (sizeof(void*) == 8 ? "\\x64" : "\\x86");
}

std::string tests_folder()
{
    return player::program_folder();
}
