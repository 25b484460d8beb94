#include "support/system_counts.h"

#include "win/handle.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>

namespace {

constexpr int extended_handle_information = 64;
constexpr LONG info_length_mismatch = static_cast<LONG>(0xC0000004);

struct handle_entry {
    void* object;
    ULONG_PTR process_id;
    ULONG_PTR handle;
    ULONG access;
    USHORT creator;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

} // namespace

std::vector<unsigned long> children_of(unsigned long process_id, std::wstring_view name)
{
    std::vector<unsigned long> found;
    const win::file_handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W process = {};
    process.dwSize = sizeof(process);
    for (BOOL more = Process32FirstW(snapshot.get(), &process); more;
         more = Process32NextW(snapshot.get(), &process)) {
        if (process.th32ParentProcessID == process_id &&
            std::wstring_view(process.szExeFile).starts_with(name))
            found.push_back(process.th32ProcessID);
    }
    return found;
}

size_t private_bytes_of(void* process)
{
    PROCESS_MEMORY_COUNTERS memory = {};
    return GetProcessMemoryInfo(process, &memory, sizeof(memory)) ? memory.PagefileUsage : 0;
}

size_t kill_children(unsigned exit_code)
{
    constexpr DWORD limit_ms = 5000;
    size_t killed = 0;
    for (const DWORD id : children_of(GetCurrentProcessId())) {
        const win::kernel_handle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
        killed += process && TerminateProcess(process.get(), exit_code) &&
                  WaitForSingleObject(process.get(), limit_ms) == WAIT_OBJECT_0;
    }
    return killed;
}

// GetProcessHandleCount always answers 0 on some systems.
size_t handles_of(unsigned long process_id)
{
    using query_t = LONG(WINAPI*)(int, void*, ULONG, ULONG*);
    static const auto query = reinterpret_cast<query_t>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<ULONG_PTR> buffer(1 << 16);
    LONG status = 0;
    while ((status = query(extended_handle_information, buffer.data(),
                           static_cast<ULONG>(buffer.size() * sizeof(ULONG_PTR)), nullptr)) ==
           info_length_mismatch)
        buffer.resize(buffer.size() * 2);
    if (status != 0)
        throw std::runtime_error("cannot count handles");
    const size_t total = buffer[0];
    const auto* entries = reinterpret_cast<const handle_entry*>(&buffer[2]);
    size_t count = 0;
    for (size_t i = 0; i < total; ++i)
        count += entries[i].process_id == process_id;
    return count;
}

gui_counts gui_counts::now()
{
    gui_counts counts = {GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS),
                         GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS)};
    if (counts.gdi != 0 && counts.user != 0)
        return counts;
    // Free places in the tables are filled first, so many handles at once reach behind what is held.
    constexpr size_t many = 256;
    HGDIOBJ brushes[many];
    HWND windows[many];
    for (size_t i = 0; i < many; ++i) {
        brushes[i] = CreateSolidBrush(RGB(1, 2, i));
        counts.gdi = std::max<size_t>(counts.gdi, LOWORD(reinterpret_cast<uintptr_t>(brushes[i])));
        windows[i] =
            CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
        counts.user = std::max<size_t>(counts.user, LOWORD(reinterpret_cast<uintptr_t>(windows[i])) / 2);
    }
    for (size_t i = 0; i < many; ++i) {
        DeleteObject(brushes[i]);
        DestroyWindow(windows[i]);
    }
    if (counts.gdi < many || counts.user < many)
        throw std::runtime_error("cannot count windows");
    return counts;
}

system_counts system_counts::now()
{
    system_counts counts = {};
    const win::file_handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 thread = {};
    thread.dwSize = sizeof(thread);
    for (BOOL more = Thread32First(snapshot.get(), &thread); more;
         more = Thread32Next(snapshot.get(), &thread))
        counts.threads += thread.th32OwnerProcessID == GetCurrentProcessId();
    counts.children = children_of(GetCurrentProcessId()).size();
    for ([[maybe_unused]] const auto& each :
         std::filesystem::directory_iterator(std::filesystem::temp_directory_path()))
        ++counts.temp_files;
    counts.private_bytes = private_bytes_of(GetCurrentProcess());
    counts.handles = handles_of(GetCurrentProcessId());
    if (counts.handles == 0 || counts.threads == 0 || counts.private_bytes == 0)
        throw std::runtime_error("the system's counts are not to be had");
    return counts;
}

std::string system_counts::growth(size_t spare_handles, double limit_seconds) const
{
    std::string text;
    for (int i = 0; i == 0 || (!text.empty() && i < limit_seconds * 20); ++i) {
        if (i != 0)
            Sleep(50);
        const system_counts counts = now();
        text.clear();
        const auto compare = [&text](size_t was, size_t is, const char* what) {
            if (is > was)
                text += (text.empty() ? "" : " ") + std::to_string(is - was) + what;
        };
        compare(handles + spare_handles, counts.handles, " handles");
        compare(threads, counts.threads, " threads");
        compare(children, counts.children, " processes");
        compare(temp_files, counts.temp_files, " files");
    }
    return text;
}
