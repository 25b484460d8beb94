#pragma once
// Takes the system's gifts away: one call of one function fails, or all of them from that one on, as the
// imports of this program (for memory those of its runtime as well) have them. Calls of threads that play
// workers go through.

#include "support/patched_import.h"
#include "support/thread_worker.h"

#include <windows.h>

#include <objbase.h>
#include <process.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <string>

namespace scarcity {

struct gift {
    const char* function;
    DWORD error;
};
enum : size_t { memory, thread, event, pipe, file, handle_copy, write, read, guid, rename, count };
constexpr gift gifts[count] = {{"malloc", 0},
                               {"_beginthreadex", 0},
                               {"CreateEventW", ERROR_NO_SYSTEM_RESOURCES},
                               {"CreateNamedPipeW", ERROR_NO_SYSTEM_RESOURCES},
                               {"CreateFileW", ERROR_TOO_MANY_OPEN_FILES},
                               {"DuplicateHandle", ERROR_NO_SYSTEM_RESOURCES},
                               {"WriteFile", ERROR_DISK_FULL},
                               {"ReadFile", ERROR_NO_SYSTEM_RESOURCES},
                               {"CoCreateGuid", 0},
                               {"MoveFileExW", ERROR_DISK_FULL}};

// What is taken away now: `nth` counts from 1.
struct taken {
    std::atomic<size_t> which{count};
    std::atomic<int> nth{0};
    std::atomic<bool> for_good{false};
    std::atomic<int> calls{0};
    std::atomic<int> refused{0};
    std::atomic<size_t> largest{0}; // in bytes, of all that was asked of memory
};
inline taken now;

inline bool refuses(size_t which)
{
    if (now.which != which || thread_worker::is_worker())
        return false;
    const int call = ++now.calls;
    if (now.for_good ? call < now.nth : call != now.nth)
        return false;
    ++now.refused;
    SetLastError(gifts[which].error);
    return true;
}

template <size_t which, intptr_t failure, class Function>
struct hook;
template <size_t which, intptr_t failure, class Result, class... Arguments>
struct hook<which, failure, Result(WINAPI*)(Arguments...)> {
    static inline Result(WINAPI* real)(Arguments...) = nullptr;
    static Result WINAPI call(Arguments... arguments)
    {
        if (!refuses(which))
            return real(arguments...);
        if constexpr (std::is_pointer_v<Result>)
            return reinterpret_cast<Result>(failure);
        else
            return static_cast<Result>(failure);
    }
};

// A full disk takes the first half of what is written.
inline BOOL WINAPI half_written(HANDLE file, const void* bytes, DWORD size, DWORD* done,
                                OVERLAPPED* overlapped)
{
    if (!refuses(write))
        return hook<write, 0, decltype(&WriteFile)>::real(file, bytes, size, done, overlapped);
    if (!overlapped)
        hook<write, 0, decltype(&WriteFile)>::real(file, bytes, size / 2, done, overlapped);
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

inline decltype(&std::malloc) real_malloc = nullptr;
inline void* no_memory(size_t size)
{
    if (size > now.largest && !thread_worker::is_worker())
        now.largest = size;
    return refuses(memory) ? nullptr : real_malloc(size);
}

inline decltype(&_beginthreadex) real_thread = nullptr;
inline uintptr_t no_thread(void* security, unsigned stack, unsigned(__stdcall* entry)(void*), void* argument,
                           unsigned flags, unsigned* id)
{
    return refuses(thread) ? 0 : real_thread(security, stack, entry, argument, flags, id);
}

// The hooks, for as long as it lives.
class hooks {
public:
    hooks()
    {
        const HMODULE c = GetModuleHandleW(L"msvcrt.dll");
        real_malloc =
            reinterpret_cast<decltype(real_malloc)>(reinterpret_cast<void*>(GetProcAddress(c, "malloc")));
        for (const HMODULE module : {GetModuleHandleW(nullptr), GetModuleHandleW(L"libstdc++-6.dll")})
            if (patched_import::is_imported("malloc", module))
                patches_.emplace_back("malloc", reinterpret_cast<void*>(&no_memory), module);
        real_thread = patches_.emplace_back("_beginthreadex", reinterpret_cast<void*>(&no_thread))
                          .original<decltype(real_thread)>();
        take<event, 0, decltype(&CreateEventW)>();
        take<pipe, -1, decltype(&CreateNamedPipeW)>();
        take<file, -1, decltype(&CreateFileW)>();
        take<handle_copy, 0, decltype(&DuplicateHandle)>();
        take<read, 0, decltype(&ReadFile)>();
        take<guid, E_OUTOFMEMORY, decltype(&CoCreateGuid)>();
        take<rename, 0, decltype(&MoveFileExW)>();
        hook<write, 0, decltype(&WriteFile)>::real =
            patches_.emplace_back("WriteFile", reinterpret_cast<void*>(&half_written))
                .original<decltype(&WriteFile)>();
    }

private:
    template <size_t which, intptr_t failure, class Function>
    void take()
    {
        using hooked = hook<which, failure, Function>;
        hooked::real = patches_.emplace_back(gifts[which].function, reinterpret_cast<void*>(&hooked::call))
                           .template original<Function>();
    }

    std::list<patched_import> patches_;
};

} // namespace scarcity
