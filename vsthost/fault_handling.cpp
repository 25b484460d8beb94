#include "vsthost/process_shell.h"

#include "vsthost/early_thread.h"
#include "vsthost/report.h"
#include "win/utf.h"

#include <dbghelp.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

// In ms; either may itself run into what broke, and the player waits for the process to end.
constexpr DWORD line_limit = 1000;
constexpr DWORD usual_dump_limit = 900;
constexpr size_t dumps_kept = 10;
constexpr DWORD abort_code = 0xE0000001; // for abort(), which has no exception code of its own

using write_dump = BOOL(WINAPI*)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE, MINIDUMP_EXCEPTION_INFORMATION*,
                                 MINIDUMP_USER_STREAM_INFORMATION*, MINIDUMP_CALLBACK_INFORMATION*);
using start_symbols = BOOL(WINAPI*)(HANDLE, PCSTR, BOOL);
using symbol_options = DWORD(WINAPI*)(DWORD);

// The reporter thread runs in advance: a thread that is started under the loader lock never begins, and
// a crash by stack overflow leaves no room to do the work in place.
struct crash_reporter {
    HANDLE wanted = nullptr;
    HANDLE told = nullptr; // the line is out
    HANDLE done = nullptr;
    DWORD dump_limit = usual_dump_limit;
    EXCEPTION_POINTERS* pointers = nullptr;
    DWORD thread = 0;
    write_dump dump = nullptr;
    start_symbols start = nullptr;
    symbol_options set_options = nullptr;
    std::atomic<bool> taken{false};
    SRWLOCK file_begins = SRWLOCK_INIT; // held while there is a file that would stay behind
};
crash_reporter reporter;

const char* code_name(DWORD code)
{
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
        return "access violation";
    case EXCEPTION_STACK_OVERFLOW:
        return "stack overflow";
    case EXCEPTION_ILLEGAL_INSTRUCTION:
        return "illegal instruction";
    case EXCEPTION_PRIV_INSTRUCTION:
        return "privileged instruction";
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
        return "integer division by zero";
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
        return "floating-point division by zero";
    case EXCEPTION_FLT_INVALID_OPERATION:
        return "invalid floating-point operation";
    case EXCEPTION_IN_PAGE_ERROR:
        return "page cannot be read";
    case EXCEPTION_DATATYPE_MISALIGNMENT:
        return "misaligned data";
    case EXCEPTION_BREAKPOINT:
        return "breakpoint";
    case 0xC0000374:
        return "heap corruption";
    case 0xC0000409:
        return "stack buffer overrun";
    case 0xC06D007E:
        return "a delay-loaded library is missing";
    case 0xE06D7363:
    case 0x20474343:
        return "unhandled C++ exception";
    case abort_code:
        return "abort";
    default:
        return "exception";
    }
}

std::string place_of(const void* address)
{
    HMODULE module = nullptr;
    wchar_t path[MAX_PATH] = L"";
    char offset[40];
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<const wchar_t*>(address), &module) ||
        GetModuleFileNameW(module, path, MAX_PATH) == 0) {
        std::snprintf(offset, sizeof offset, "address 0x%llX",
                      static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(address)));
        return offset;
    }
    std::snprintf(offset, sizeof offset, "+0x%llX",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(address) -
                                                  reinterpret_cast<uintptr_t>(module)));
    const std::wstring full = path;
    return win::to_utf8(full.substr(full.find_last_of(L"\\/") + 1)) + offset;
}

// Nothing when there is none.
std::wstring dump_folder()
{
    wchar_t folder[MAX_PATH + 1];
    const DWORD length = GetTempPathW(MAX_PATH, folder);
    return length > MAX_PATH ? std::wstring() : std::wstring(folder, length);
}

// All but the newest: nobody else clears them away.
void remove_old_dumps()
{
    const std::wstring folder = dump_folder();
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"qvxVSTHost-*.dmp").c_str(), &found);
    if (folder.empty() || search == INVALID_HANDLE_VALUE)
        return;
    std::vector<std::pair<uint64_t, std::wstring>> dumps; // when it was written, and its name
    do {
        const FILETIME& written = found.ftLastWriteTime;
        dumps.emplace_back(uint64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime, found.cFileName);
    } while (FindNextFileW(search, &found));
    FindClose(search);
    std::sort(dumps.rbegin(), dumps.rend());
    for (size_t i = dumps_kept; i < dumps.size(); ++i)
        DeleteFileW((folder + dumps[i].second).c_str());
}

// The dump's path, or nothing when it could not be written.
std::string write_minidump()
{
    const std::wstring folder = dump_folder();
    if (reporter.dump == nullptr || folder.empty())
        return {};
    wchar_t path[MAX_PATH + 64];
    std::swprintf(path, std::size(path), L"%lsqvxVSTHost-%lu.dmp", folder.c_str(), GetCurrentProcessId());
    // Never into what somebody else put there; a leftover of an earlier process of this number goes.
    const auto create = [&path] {
        return CreateFileW(path, GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                           nullptr);
    };
    AcquireSRWLockExclusive(&reporter.file_begins);
    HANDLE file = create();
    if (file == INVALID_HANDLE_VALUE && DeleteFileW(path))
        file = create();
    // Until it is complete the file goes with its handle, however the process ends.
    FILE_DISPOSITION_INFO disposition{TRUE};
    if (file != INVALID_HANDLE_VALUE)
        SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition);
    ReleaseSRWLockExclusive(&reporter.file_begins);
    if (file == INVALID_HANDLE_VALUE)
        return {};
    // A dump holds no symbols, but where nobody has started the symbol handler its writer does so itself and
    // looks through every loaded module on some systems, which takes seconds.
    if (reporter.set_options != nullptr && reporter.start != nullptr) {
        reporter.set_options(SYMOPT_DEFERRED_LOADS);
        reporter.start(GetCurrentProcess(), nullptr, FALSE);
    }
    MINIDUMP_EXCEPTION_INFORMATION exception{reporter.thread, reporter.pointers, FALSE};
    const BOOL written = reporter.dump(GetCurrentProcess(), GetCurrentProcessId(), file, MiniDumpNormal,
                                       &exception, nullptr, nullptr);
    if (written) {
        disposition.DeleteFile = FALSE;
        SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition);
    }
    CloseHandle(file);
    return written ? win::to_utf8(path) : std::string();
}

DWORD WINAPI report_crashes(void*)
{
    WaitForSingleObject(reporter.wanted, INFINITE);
    const EXCEPTION_RECORD& record = *reporter.pointers->ExceptionRecord;
    char code[16];
    std::snprintf(code, sizeof code, "0x%08lX", record.ExceptionCode);
    vsthost::report("the effect crashed: " + std::string(code_name(record.ExceptionCode)) + " (" + code +
                    ") in " + place_of(record.ExceptionAddress));
    vsthost::flush_reports(line_limit);
    SetEvent(reporter.told);
    const std::string dump = write_minidump();
    if (!dump.empty())
        vsthost::report("a crash dump is in " + dump);
    vsthost::flush_reports(line_limit);
    remove_old_dumps();
    SetEvent(reporter.done);
    return 0;
}

LONG WINAPI on_unhandled(EXCEPTION_POINTERS* pointers)
{
    const DWORD code = pointers->ExceptionRecord->ExceptionCode;
    if (reporter.taken.exchange(true)) {
        // A second crash, of another thread or of the reporter itself: the first one's report has the time
        // left.
        if (GetCurrentThreadId() != reporter.thread)
            WaitForSingleObject(reporter.done, line_limit + reporter.dump_limit);
        TerminateProcess(GetCurrentProcess(), code);
    }
    reporter.pointers = pointers;
    reporter.thread = GetCurrentThreadId();
    SetEvent(reporter.wanted);
    WaitForSingleObject(reporter.told, line_limit);
    WaitForSingleObject(reporter.done, reporter.dump_limit);
    for (int tries = 0; tries < 100 && !TryAcquireSRWLockExclusive(&reporter.file_begins); ++tries)
        Sleep(2);
    TerminateProcess(GetCurrentProcess(), code);
    return EXCEPTION_EXECUTE_HANDLER;
}

void on_abort(int)
{
    CONTEXT context{};
    RtlCaptureContext(&context);
    EXCEPTION_RECORD record{};
    record.ExceptionCode = abort_code;
    record.ExceptionAddress = __builtin_return_address(0);
    EXCEPTION_POINTERS pointers{&record, &context};
    on_unhandled(&pointers);
}

// An exception needs some memory on its way. Where there is not even that, the process ends here: nobody
// could catch it.
void on_no_memory()
{
    constexpr size_t for_an_exception = 1024;
    if (void* const some = std::malloc(for_an_exception)) {
        std::free(some);
        throw std::bad_alloc();
    }
    if (vsthost::report_out_of_memory())
        vsthost::flush_reports(line_limit);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(vsthost::exit_code::out_of_memory));
}

// A crash in a window procedure that the system calls would otherwise be swallowed, and the editor go on with
// whatever is left of it.
void let_crashes_through_callbacks()
{
    using get_policy = BOOL(WINAPI*)(DWORD*);
    using set_policy = BOOL(WINAPI*)(DWORD);
    constexpr DWORD callback_filter = 1;
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    const auto get = reinterpret_cast<get_policy>(
        reinterpret_cast<void*>(GetProcAddress(kernel, "GetProcessUserModeExceptionPolicy")));
    const auto set = reinterpret_cast<set_policy>(
        reinterpret_cast<void*>(GetProcAddress(kernel, "SetProcessUserModeExceptionPolicy")));
    DWORD policy = 0;
    if (get != nullptr && set != nullptr && get(&policy))
        set(policy & ~callback_filter);
}

} // namespace

void vsthost::install_fault_handling()
{
    start_reports();
    let_crashes_through_callbacks();
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    // In place of the folder that the player happens to be in: nobody may put a library there that an effect
    // lacks. An empty name says the same on Windows, but not on Wine.
    wchar_t system[MAX_PATH];
    const UINT system_length = GetSystemDirectoryW(system, MAX_PATH);
    SetDllDirectoryW(system_length > 0 && system_length < MAX_PATH ? system : L"");
    _set_error_mode(_OUT_TO_STDERR); // the run-time library's own "abnormal termination" box
    std::signal(SIGABRT, on_abort);
    std::set_new_handler(on_no_memory);

    reporter.wanted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    reporter.told = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    reporter.done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    wchar_t wish[12];
    constexpr auto room = static_cast<DWORD>(std::size(wish));
    const DWORD length = GetEnvironmentVariableW(L"QVX_VSTHOST_MINIDUMP_MS", wish, room);
    if (length != 0 && length < room)
        reporter.dump_limit = std::wcstoul(wish, nullptr, 10);
    const HMODULE dbghelp = reporter.dump_limit == 0
                                ? nullptr
                                : LoadLibraryExW(L"dbghelp.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const auto find = [dbghelp]<class Function>(Function& function, const char* name) {
        if (dbghelp != nullptr)
            function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(dbghelp, name)));
    };
    find(reporter.dump, "MiniDumpWriteDump");
    find(reporter.start, "SymInitialize");
    find(reporter.set_options, "SymSetOptions");
    start_early_thread(report_crashes, nullptr);
    SetUnhandledExceptionFilter(on_unhandled);
    reserve_stack_for_faults();
}

void vsthost::reserve_stack_for_faults()
{
    ULONG bytes = 64 * 1024;
    SetThreadStackGuarantee(&bytes);
}

void vsthost::end_process(exit_code code)
{
    flush_reports(1000);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    std::abort(); // not reached
}

void vsthost::end_process(const fatal_error& error)
{
    try {
        report(error.what());
    } catch (const std::bad_alloc&) {
        report_out_of_memory();
    }
    end_process(error.code());
}
