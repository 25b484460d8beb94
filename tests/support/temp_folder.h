#pragma once
// A fresh folder under the temporary one, removed with all it holds. Names are UTF-8 and relative to it.

#include "win/utf.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

class temp_folder {
public:
    temp_folder()
    {
        static std::atomic<unsigned> counter{0};
        wchar_t base[MAX_PATH + 1];
        GetTempPathW(MAX_PATH, base);
        root_ = win::to_utf8(base) + "qvx-test-" + std::to_string(GetCurrentProcessId()) + "-" +
                std::to_string(GetTickCount64()) + "-" + std::to_string(counter++);
        if (!CreateDirectoryW(wide(root_).c_str(), nullptr))
            throw std::runtime_error("cannot make " + root_);
    }
    ~temp_folder() { remove_tree(wide(root_)); }
    temp_folder(const temp_folder&) = delete;
    temp_folder& operator=(const temp_folder&) = delete;

    const std::string& path() const { return root_; }
    std::string path(const std::string& name) const { return root_ + "\\" + name; }

    void make(const std::string& name) const
    {
        if (!CreateDirectoryW(wide(path(name)).c_str(), nullptr))
            throw std::runtime_error("cannot make " + name);
    }
    void write(const std::string& name, const std::vector<uint8_t>& bytes) const
    {
        const HANDLE file =
            CreateFileW(wide(path(name)).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            throw std::runtime_error("cannot write " + name);
        DWORD written = 0;
        const bool ok = bytes.empty() ||
                        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
        CloseHandle(file);
        if (!ok || written != bytes.size())
            throw std::runtime_error("cannot write " + name);
    }

private:
    // With the prefix that lifts the limit of 260 characters.
    static std::wstring wide(const std::string& path) { return L"\\\\?\\" + win::to_utf16(path); }

    static void remove_tree(const std::wstring& folder)
    {
        WIN32_FIND_DATAW entry;
        const HANDLE find = FindFirstFileW((folder + L"\\*").c_str(), &entry);
        if (find != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = entry.cFileName;
                if (name == L"." || name == L"..")
                    continue;
                const std::wstring path = folder + L"\\" + name;
                const bool is_folder = entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
                // A link is removed, never followed.
                if (is_folder && !(entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
                    remove_tree(path);
                else if (is_folder)
                    RemoveDirectoryW(path.c_str());
                else
                    DeleteFileW(path.c_str());
            } while (FindNextFileW(find, &entry));
            FindClose(find);
        }
        RemoveDirectoryW(folder.c_str());
    }

    std::string root_;
};
