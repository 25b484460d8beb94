#include "player/commands/scan.h"

#include "catalogue/background_scan.h"
#include "player/commands/scan_progress.h"
#include "player/system/player_error.h"
#include "win/long_path.h"

#include <windows.h>

#include <optional>

namespace player {

namespace {

constexpr std::chrono::milliseconds show_interval{100};

vstFolder_t checked_folder(const std::string& given)
{
    const std::wstring path = win::long_path(given);
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD code = GetLastError();
        // One that is there but may not be looked at is the scan's to report.
        if (code != ERROR_ACCESS_DENIED && code != ERROR_SHARING_VIOLATION)
            throw_file_error(given, "cannot be scanned", code);
    } else if (!(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        throw player_error(given + ": is a file; name the folder that it lies in");
    }
    string_out_impl canonical;
    if (const auto files = filesystem_for_path(given.c_str()))
        files->get_canonical_path(given.c_str(), canonical);
    return {canonical.text.empty() ? given : canonical.text, vstFolder_t::user};
}

} // namespace

scan_report scan(const std::vector<std::string>& folders, player_host& host, abort_callback& stop,
                 const scan_show& show)
{
    std::vector<vstFolder_t> checked;
    for (const std::string& folder : folders)
        checked.push_back(checked_folder(folder));
    if (folders.empty())
        checked = getScanFolders();

    const auto progress = std::make_shared<scan_progress>();
    std::optional<std::vector<vstConfig_t>> found;
    background_scan running;
    running.begin(
        std::move(checked), [&](std::vector<vstConfig_t> result) { found = std::move(result); }, progress);
    for (;;) {
        host.main_queue().run_pending();
        if (found)
            return {std::move(*found), false};
        if (stop.is_aborting())
            return {{}, true};
        if (show) {
            const auto now = progress->get();
            show(now.folders, now.candidates, now.path);
        }
        host.main_queue().wait(show_interval, stop.get_abort_event());
    }
}

} // namespace player
