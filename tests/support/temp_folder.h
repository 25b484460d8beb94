#pragma once
// A fresh folder under the temporary one, removed with all it holds. Names are UTF-8 and relative to it.

#include "win/utf.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

class temp_folder {
public:
    explicit temp_folder(const std::string& name = "qvx-test")
    {
        static std::atomic<unsigned> counter{0};
        wchar_t base[MAX_PATH + 1];
        GetTempPathW(MAX_PATH, base);
        root_ = win::to_utf8(base) + name + "-" + std::to_string(GetCurrentProcessId()) + "-" +
                std::to_string(GetTickCount64()) + "-" + std::to_string(counter++);
        make_folder(root_);
    }
    ~temp_folder() { remove_tree(wide(root_)); }
    temp_folder(const temp_folder&) = delete;
    temp_folder& operator=(const temp_folder&) = delete;

    const std::string& path() const { return root_; }
    std::string path(const std::string& name) const { return root_ + "\\" + name; }

    void make(const std::string& name) const { make_folder(path(name)); }
    void write(const std::string& name, const std::vector<uint8_t>& bytes) const
    {
        std::ofstream file(std::filesystem::path(wide(path(name))), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush())
            throw std::runtime_error("cannot write " + name);
    }

    auto file_count() const // and of folders in it
    {
        return std::distance(std::filesystem::directory_iterator(wide(root_)), {});
    }

private:
    // With the prefix that lifts the limit of 260 characters.
    static std::wstring wide(const std::string& path) { return L"\\\\?\\" + win::to_utf16(path); }

    static void make_folder(const std::string& path)
    {
        if (!CreateDirectoryW(wide(path).c_str(), nullptr))
            throw std::runtime_error("cannot make " + path);
    }
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
