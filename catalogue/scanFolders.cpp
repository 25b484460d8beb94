#include "catalogue/scanFolders.h"

#include "catalogue/inspectModule.h"
#include "catalogue/settings.h"
#include "sdk/console.h"
#include "sdk/exceptions.h"
#include "win/environment.h"
#include "win/handle.h"
#include "win/long_path.h"
#include "win/utf.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

// Two names of one folder, through a link or not, have the same identity.
struct folder_identity {
    DWORD volume;
    uint64_t index;

    friend bool operator==(const folder_identity&, const folder_identity&) = default;
};

std::string openable(filesystem& files, const std::string& path)
{
    string_out_impl native;
    return files.get_native_path(path.c_str(), native) ? native.text : path;
}

// Nothing when the system does not say; such a folder is entered without the test. Costs as much as several
// modules, so that it is only asked where a link has been followed.
std::optional<folder_identity> identity_of(const std::string& path)
{
    const win::file_handle folder(CreateFileW(win::long_path(path).c_str(), FILE_READ_ATTRIBUTES,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                              OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!folder || !GetFileInformationByHandle(folder.get(), &information))
        return std::nullopt;
    const uint64_t index = uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow;
    if (index == 0) // what drives that tell no folder from another answer for all of them
        return std::nullopt;
    return folder_identity{information.dwVolumeSerialNumber, index};
}

// A junction, a symbolic link or a mounted volume.
bool is_link(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(win::long_path(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

// The entries of one folder, files and subfolders apart.
class entry_collector final : public folder_listing {
public:
    struct candidate {
        std::string path;
        int32_t version;
    };

    void on_entry(bool is_folder, const char* name, const char* full_path) override
    {
        if (is_folder)
            folders.emplace_back(full_path);
        else if (const int32_t version = expectedVersion(name))
            candidates.push_back({full_path, version});
        has_files = has_files || !is_folder;
    }

    std::vector<std::string> folders;
    std::vector<candidate> candidates;
    bool has_files = false;
};

void check_abort(const abort_callback& abort)
{
    if (abort.is_aborting())
        throw exception_aborted();
}

void report_problem(const char* message, const std::string& folder) noexcept
try {
    console::print(std::string("VST scanFolder failure: ") + message);
    console::print("Problem path: " + folder);
} catch (...) {
    // A scan is not worth less because nobody can be told.
}

// One folder on the way from the top to where the walk is.
struct walk_step {
    std::string native;
    bool through_link;                // the way from the top to here follows a link
    std::vector<std::string> folders; // in reverse: the next one is the last
    bool identity_known;              // it was asked for; until then not
    std::optional<folder_identity> identity;
};

const std::optional<folder_identity>& identity_of(walk_step& step)
{
    if (!std::exchange(step.identity_known, true))
        step.identity = identity_of(step.native);
    return step.identity;
}

// True when the step's folder is another name of one on the way.
bool is_on_way(std::vector<walk_step>& way, walk_step& step)
{
    return identity_of(step) && std::any_of(way.begin(), way.end(), [&](walk_step& above) {
               return identity_of(above) == identity_of(step);
           });
}

void inspect_candidates(std::vector<vstConfig_t>& result, filesystem& files, const entry_collector& entries,
                        abort_callback& abort, scan_observer* observer)
{
    for (const auto& candidate : entries.candidates) {
        check_abort(abort);
        if (observer)
            observer->on_candidate(candidate.path);
        try {
            vstConfig_t config;
            config.path = candidate.path;
            config.name = effectName(candidate.path);
            module_info info = inspectModule(openable(files, candidate.path), candidate.version);
            config.arch = std::move(info.arch);
            config.vstVersion = info.vstVersion;
            result.push_back(std::move(config));
        } catch (const exception_aborted&) {
            throw;
        } catch (...) {
            // No plug-in, damaged or unreadable: not worth a word among thousands of files.
        }
    }
}

} // namespace

std::vector<vstFolder_t> getDefaultFolders()
{
    return composeDefaultFolders([](const char* name) {
        std::string value;
        return uGetEnvironmentVariable(name, value) ? std::optional(value) : std::nullopt;
    });
}

std::vector<vstFolder_t> getScanFolders()
{
    std::vector<vstFolder_t> folders = getUserFolders();
    const std::vector<std::string> disabled = getDisabledDefaultFolders();
    for (vstFolder_t& folder : getDefaultFolders()) {
        if (std::find(disabled.begin(), disabled.end(), folder.path) == disabled.end())
            folders.push_back(std::move(folder));
    }
    return folders;
}

std::string effectName(const std::string& path)
{
    const size_t separator = path.find_last_of("/\\:|");
    const std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
    const size_t searched = std::min(name.find('?'), name.size());
    const size_t dot = std::string_view(name).substr(0, searched).rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

int32_t expectedVersion(const std::string& fileName)
{
    std::wstring lower = win::to_utf16(fileName);
    for (wchar_t& c : lower) {
        if (c < 128)
            c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
        else if (c < 0xD800 || c > 0xDFFF) // halves of larger code points stay
            c = static_cast<wchar_t>(reinterpret_cast<uintptr_t>(
                CharLowerW(reinterpret_cast<wchar_t*>(static_cast<uintptr_t>(c)))));
    }
    return lower.ends_with(L".vst3") ? 3 : lower.ends_with(L".dll") ? 2 : 0;
}

// Depth first with a stack of its own: folders may be nested deeper than a thread's stack allows.
void scanFolder(std::vector<vstConfig_t>& result, filesystem& files, const std::string& folder,
                abort_callback& abort, scan_observer* observer)
{
    std::vector<walk_step> way;
    const auto enter = [&](const std::string& path) {
        walk_step step{openable(files, path), false, {}, false, {}};
        if (!way.empty()) {
            // Without a link on the way no folder can be inside itself.
            step.through_link = way.back().through_link || is_link(step.native);
            if (step.through_link && is_on_way(way, step))
                return;
        }
        if (observer)
            observer->on_folder(path);
        entry_collector entries;
        files.list_folder(path.c_str(), entries, abort);
        if (entries.has_files)
            check_abort(abort);
        inspect_candidates(result, files, entries, abort, observer);
        step.folders.assign(std::make_move_iterator(entries.folders.rbegin()),
                            std::make_move_iterator(entries.folders.rend()));
        way.push_back(std::move(step));
    };

    enter(folder);
    while (!way.empty()) {
        if (way.back().folders.empty()) {
            way.pop_back();
            continue;
        }
        check_abort(abort);
        const std::string next = std::move(way.back().folders.back());
        way.back().folders.pop_back();
        enter(next);
    }
}

std::vector<vstConfig_t> scanFolders(const std::vector<vstFolder_t>& folders, abort_callback& abort,
                                     scan_observer* observer)
{
    std::vector<vstConfig_t> result;
    scanFolders(result, folders, abort, observer);
    return result;
}

void scanFolders(std::vector<vstConfig_t>& result, const std::vector<vstFolder_t>& folders,
                 abort_callback& abort, scan_observer* observer)
{
    result.reserve(100);
    for (const vstFolder_t& folder : folders) {
        if (abort.is_aborting())
            break;
        try {
            const auto files = filesystem_for_path(folder.path.c_str());
            if (!files)
                continue;
            scanFolder(result, *files, folder.path, abort, observer);
        } catch (const exception_aborted&) {
            // The test before the next folder ends the scan.
        } catch (const exception_io_not_found&) {
            // Removed since the user added it, or never there.
        } catch (const std::exception& error) {
            report_problem(error.what(), folder.path);
        } catch (...) {
        }
    }
}
