#pragma once
// Links between folders.

#include "win/utf.h"

#include <windows.h>

#include <string>

// While it lives, `link` is another name of the folder `target` (UTF-8, full), if this system can do that.
class folder_link {
public:
    folder_link(const std::string& target, const std::string& link)
        : link_(win::to_utf16(link))
    {
        const std::wstring wide_target = win::to_utf16(target);
        // Wine has no links of its own but says it made one; there the build machine's "ln" does it.
        if (!on_wine())
            CreateSymbolicLinkW(link_.c_str(), wide_target.c_str(),
                                SYMBOLIC_LINK_FLAG_DIRECTORY | SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE);
        else
            run_native("ln", "-s " + unix_name(wide_target) + " " + unix_name(link_), true);
    }
    ~folder_link()
    {
        if (!on_wine())
            RemoveDirectoryW(link_.c_str());
        else
            run_native("rm", unix_name(link_), false);
    }
    folder_link(const folder_link&) = delete;
    folder_link& operator=(const folder_link&) = delete;

    explicit operator bool() const
    {
        const DWORD attributes = GetFileAttributesW(link_.c_str());
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
    }

private:
    using get_unix_name_t = char*(CDECL*)(const wchar_t*);

    static get_unix_name_t on_wine()
    {
        return reinterpret_cast<get_unix_name_t>(reinterpret_cast<void*>(
            GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name")));
    }
    static std::string unix_name(const std::wstring& path)
    {
        char* name = on_wine()(path.c_str());
        const std::string text = name ? name : "";
        HeapFree(GetProcessHeap(), 0, name);
        return "\"" + text + "\"";
    }
    // Waits until the link is there or is not; a native program's handle does not tell when it has run.
    void run_native(const std::string& program, const std::string& arguments, bool expected) const
    {
        const std::wstring path = L"\\\\?\\unix\\bin\\" + win::to_utf16(program);
        std::wstring command = win::to_utf16(program + " " + arguments);
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process{};
        if (!CreateProcessW(path.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                            &startup, &process))
            return;
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
        for (int i = 0; i < 500 && static_cast<bool>(*this) != expected; ++i)
            Sleep(10);
    }

    std::wstring link_;
};
