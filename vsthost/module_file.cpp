#include "vsthost/module_file.h"

#include "vsthost/exit_codes.h"
#include "vsthost/pe_image.h"
#include "vsthost/process_shell.h"
#include "win/error_text.h"
#include "win/handle.h"
#include "win/long_path.h"
#include "win/utf.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace {

using vsthost::exit_code;
using vsthost::fatal_error;

#ifdef _WIN64
constexpr uint16_t own_machine = vsthost::machine_x64;
constexpr const wchar_t* bundle_folders[] = {L"x86_64-win"};
constexpr const wchar_t* foreign_folders[] = {L"x86-win", L"arm64-win", L"arm64ec-win", L"arm64x-win"};
#else
constexpr uint16_t own_machine = vsthost::machine_x86;
constexpr const wchar_t* bundle_folders[] = {L"x86-win"};
constexpr const wchar_t* foreign_folders[] = {L"x86_64-win", L"arm64-win", L"arm64ec-win", L"arm64x-win"};
#endif
constexpr int dependency_depth = 3;

// For a call of the system. Only where it must be in the form without a length limit, which modules may find
// strange in the name that the system tells them of themselves.
std::wstring openable(const std::wstring& path)
{
    return path.size() < MAX_PATH ? path : win::long_path(win::to_utf8(path));
}

bool is_folder(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(openable(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool is_file(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(openable(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::wstring absolute(const std::wstring& path)
{
    std::wstring full(32768, L'\0');
    const DWORD length =
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0 || length >= full.size())
        return path;
    full.resize(length);
    while (full.size() > 3 && (full.back() == L'\\' || full.back() == L'/'))
        full.pop_back();
    return full;
}

std::wstring file_name(const std::wstring& path)
{
    return path.substr(path.find_last_of(L"\\/") + 1);
}

std::wstring folder_of(const std::wstring& path)
{
    return path.substr(0, path.find_last_of(L"\\/"));
}

// The module file inside a bundle folder.
std::wstring inside_bundle(const std::wstring& bundle, const std::string& shown)
{
    const auto file_in = [&](const wchar_t* folder) {
        return bundle + L"\\Contents\\" + folder + L"\\" + file_name(bundle);
    };
    for (const wchar_t* const folder : bundle_folders)
        if (is_file(file_in(folder)))
            return file_in(folder);
    for (const wchar_t* const folder : foreign_folders)
        if (is_file(file_in(folder)))
            throw fatal_error(exit_code::machine_type, "\"" + shown + "\" holds no module for " +
                                                           vsthost::machine_name(own_machine) +
                                                           ", only for " + win::to_utf8(folder) +
                                                           ": choose an effect of the other kind");
    throw fatal_error(exit_code::module_unusable,
                      "\"" + shown + "\" is a folder, but not a VST 3 bundle: it has no Contents\\" +
                          win::to_utf8(bundle_folders[0]) + "\\" + win::to_utf8(file_name(bundle)));
}

// A whole file as memory.
class mapped_file {
public:
    explicit mapped_file(const std::wstring& path)
    {
        const win::file_handle file(CreateFileW(openable(path).c_str(), GENERIC_READ,
                                                FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                                0, nullptr));
        LARGE_INTEGER size{};
        if (!file || !GetFileSizeEx(file.get(), &size) || size.QuadPart <= 0 || size.QuadPart > INT32_MAX)
            return;
        const win::kernel_handle mapping(
            CreateFileMappingW(file.get(), nullptr, PAGE_READONLY, 0, 0, nullptr));
        if (!mapping)
            return;
        view_ = MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0);
        size_ = static_cast<size_t>(size.QuadPart);
    }
    ~mapped_file()
    {
        if (view_ != nullptr)
            UnmapViewOfFile(view_);
    }
    mapped_file(const mapped_file&) = delete;
    mapped_file& operator=(const mapped_file&) = delete;

    std::span<const uint8_t> bytes() const
    {
        return {static_cast<const uint8_t*>(view_), view_ != nullptr ? size_ : 0};
    }

private:
    void* view_ = nullptr;
    size_t size_ = 0;
};

// Where the loader would take a library from: the module's own folder, those of the system, the path; not
// this program's folder, where libraries lie that are the player's.
std::optional<std::wstring> find_library(const std::wstring& name, const std::wstring& folder)
{
    const std::wstring beside = folder + L"\\" + name;
    if (is_file(beside))
        return beside;
    std::wstring places(32 * 1024 + 2 * MAX_PATH, L'\0');
    size_t used = GetSystemDirectoryW(places.data(), MAX_PATH);
    places[used++] = L';';
    used += GetWindowsDirectoryW(&places[used], MAX_PATH);
    places[used++] = L';';
    used += GetEnvironmentVariableW(L"PATH", &places[used], static_cast<DWORD>(places.size() - used));
    places.resize(std::min(used, places.size()));
    wchar_t found[MAX_PATH];
    const DWORD length = SearchPathW(places.c_str(), name.c_str(), nullptr, MAX_PATH, found, nullptr);
    if (length == 0 || length >= MAX_PATH)
        return std::nullopt;
    return std::wstring(found, length);
}

// Name of the first library that is missing, looked for among the imports and, in the module's folder,
// theirs.
std::optional<std::string> missing_library(const std::wstring& path, const std::wstring& folder, int depth)
{
    const mapped_file file(path);
    for (const std::string& name : vsthost::pe_imports(file.bytes())) {
        std::string lower = name;
        std::ranges::transform(lower, lower.begin(),
                               [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
        if (lower.starts_with("api-ms-") || lower.starts_with("ext-ms-"))
            continue; // names that stand for parts of the system
        const std::wstring wide = win::to_utf16(name);
        if (GetModuleHandleW(wide.c_str()) != nullptr)
            continue;
        const auto found = find_library(wide, folder);
        if (!found)
            return name;
        if (depth > 1 && folder_of(*found) == folder)
            if (auto deeper = missing_library(*found, folder, depth - 1))
                return deeper;
    }
    return std::nullopt;
}

[[noreturn]] void refused(const std::wstring& path, const std::string& shown, DWORD error)
{
    if (error == ERROR_MOD_NOT_FOUND || error == ERROR_PROC_NOT_FOUND) {
        const auto missing = missing_library(path, folder_of(path), dependency_depth);
        throw fatal_error(exit_code::dependency_missing,
                          "\"" + shown + "\" cannot be loaded: " +
                              (missing ? "it needs " + *missing + ", which is not on this system"
                                       : "a library that it needs is missing or too old") +
                              "; install what the effect's maker asks for");
    }
    const auto unusable = [&](const std::string& why) {
        return fatal_error(exit_code::module_unusable, "\"" + shown + "\" cannot be loaded: " + why);
    };
    switch (error) {
    case ERROR_DLL_INIT_FAILED:
        throw unusable("its own start-up failed; install what the effect's maker asks for");
    case ERROR_NOACCESS:
        throw unusable("it crashed in its own start-up; install the effect again, or a newer version of it");
    case ERROR_BAD_EXE_FORMAT:
    case ERROR_INVALID_EXE_SIGNATURE:
    case ERROR_EXE_MARKED_INVALID:
        throw unusable("the file is damaged or not complete; install the effect again");
    default:
        throw unusable(win::error_text(error) + " (Windows error " + std::to_string(error) + ")");
    }
}

} // namespace

vsthost::module_file::module_file(const std::string& path, int vst_version)
{
    std::wstring file = absolute(win::to_utf16(path));
    const std::string shown = win::to_utf8(file);
    if (is_folder(file)) {
        if (vst_version != 3)
            throw fatal_error(exit_code::module_unusable,
                              "\"" + shown + "\" is a folder, not a VST 2 module");
        file = inside_bundle(file, shown);
    }
    if (!is_file(file))
        throw fatal_error(exit_code::module_missing,
                          "\"" + shown + "\" does not exist: choose the effect again or install it again");
    path_ = win::to_utf8(file);

    // Looked at before the loader does: its own answer does not tell these cases apart on every system.
    const auto machine = pe_machine(mapped_file(file).bytes());
    if (!machine)
        throw fatal_error(exit_code::module_unusable,
                          "\"" + shown + "\" is not a plug-in: it is no Windows module at all");
    if (*machine != own_machine)
        throw fatal_error(exit_code::machine_type,
                          "\"" + shown + "\" is made for " + machine_name(*machine) + "; this program is " +
                              machine_name(own_machine) +
                              ": choose the effect again so that the right one is used");

    const watched_call watched("loading its module", call_kind::load);
    module_ = LoadLibraryExW(openable(file).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module_ == nullptr)
        refused(file, shown, GetLastError());
}

vsthost::module_file::~module_file()
{
    if (module_ != nullptr)
        FreeLibrary(module_);
}

std::string vsthost::module_file::folder() const
{
    return path_.substr(0, path_.find_last_of("\\/"));
}
