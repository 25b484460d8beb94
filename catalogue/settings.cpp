#include "catalogue/settings.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

cfg_var_modern::cfg_string
    cfg_vst_folders({0xff3708bd, 0x5259, 0x4c4f, {0x9a, 0xb8, 0x5f, 0x9f, 0xdd, 0x11, 0x94, 0x09}}, "");
cfg_var_modern::cfg_string
    cfg_vst_folders_disabled({0x541d275a, 0x023b, 0x4c0c, {0x8b, 0x1f, 0x43, 0x15, 0xcc, 0xc2, 0x55, 0x47}},
                             "");

namespace {

std::atomic<void (*)()> rescan_callback{nullptr};

void rescan()
{
    if (auto* callback = rescan_callback.load())
        callback();
}

} // namespace

void set_rescan_callback(void (*callback)())
{
    rescan_callback = callback;
}

std::vector<vstFolder_t> getUserFolders()
{
    std::vector<vstFolder_t> folders;
    for (std::string& path : withoutEmpty(splitPaths(cfg_vst_folders.get())))
        folders.push_back({std::move(path), vstFolder_t::user});
    return folders;
}

void setUserFolders(const std::vector<vstFolder_t>& folders)
{
    std::vector<std::string> paths;
    for (const vstFolder_t& folder : folders)
        paths.push_back(folder.path);
    cfg_vst_folders.set(joinPaths(paths));
    rescan();
}

std::vector<std::string> getDisabledDefaultFolders()
{
    return splitPaths(cfg_vst_folders_disabled.get());
}

void setDefaultFolderEnabled(const std::string& path, bool disable)
{
    std::vector<std::string> disabled = getDisabledDefaultFolders();
    const bool listed = std::find(disabled.begin(), disabled.end(), path) != disabled.end();
    if (listed == disable)
        return;
    if (disable) {
        if (disabled.size() == disabled.max_size())
            throw std::length_error("list too long");
        disabled.push_back(path);
    } else {
        std::erase(disabled, path);
    }
    cfg_vst_folders_disabled.set(joinPaths(withoutEmpty(std::move(disabled))));
    rescan();
}
