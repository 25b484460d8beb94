#include "catalogue/bundle.h"

#include "win/long_path.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace {

// INVALID_FILE_ATTRIBUTES when there is nothing.
DWORD attributes_of(const std::string& path)
{
    return GetFileAttributesW(win::long_path(path).c_str());
}

bool is_folder(const std::string& path)
{
    const DWORD attributes = attributes_of(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool is_file(const std::string& path)
{
    const DWORD attributes = attributes_of(path);
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool ends_in_vst3(const std::string& path)
{
    const std::string_view extension = ".vst3";
    if (path.size() <= extension.size())
        return false;
    return std::equal(extension.begin(), extension.end(),
                      path.end() - static_cast<ptrdiff_t>(extension.size()),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + ('a' - 'A') : b); });
}

} // namespace

std::string resolveModulePath(const std::string& path)
{
    std::string folder = path;
    while (folder.ends_with('\\') || folder.ends_with('/'))
        folder.pop_back();
    if (!ends_in_vst3(folder) || !is_folder(folder))
        return path;
    const size_t separator = folder.find_last_of("\\/:");
    const std::string name = separator == std::string::npos ? folder : folder.substr(separator + 1);
    for (const char* platform : {"x86_64-win", "x86-win"}) {
        std::string file = folder + "\\Contents\\" + platform + "\\" + name;
        if (is_file(file))
            return file;
    }
    return path;
}
