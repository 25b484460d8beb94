#include "ui/folders_model.h"

#include "catalogue/settings.h"
#include "sdk/filesystem.h"

#include <algorithm>

namespace {

std::string display_path(const std::string& path)
{
    string_out_impl shown;
    if (const auto serving = filesystem_for_path(path.c_str())) {
        serving->get_display_path(path.c_str(), shown);
        return shown.text;
    }
    return path;
}

std::string canonical_path(const std::string& path)
{
    string_out_impl canonical;
    if (const auto serving = filesystem_for_path(path.c_str())) {
        serving->get_canonical_path(path.c_str(), canonical);
        return canonical.text;
    }
    return path;
}

} // namespace

bool folders_model::rows::is_row_ticked(size_t row) const
{
    return std::ranges::find(disabled, folders.at(row).path) == disabled.end();
}

void folders_model::rows::append(vstFolder_t folder)
{
    texts.push_back(display_path(folder.path));
    folders.push_back(std::move(folder));
}

folders_model::folders_model(std::vector<vstFolder_t> default_folders)
{
    for (vstFolder_t& folder : getUserFolders())
        user_.append(std::move(folder));
    for (vstFolder_t& folder : default_folders)
        defaults_.append(std::move(folder));
    defaults_.disabled = getDisabledDefaultFolders();
}

std::optional<std::string> folders_model::user_path(size_t row) const
{
    return row < user_.folders.size() ? std::optional(native_path(user_.folders[row].path)) : std::nullopt;
}

std::optional<std::string> folders_model::default_path(size_t row) const
{
    return row < defaults_.folders.size() ? std::optional(native_path(defaults_.folders[row].path))
                                          : std::nullopt;
}

void folders_model::tick_default(size_t row, bool ticked)
{
    setDefaultFolderEnabled(defaults_.folders.at(row).path, !ticked);
    defaults_.disabled = getDisabledDefaultFolders();
}

void folders_model::add(const std::vector<std::string>& chosen)
{
    if (chosen.empty())
        return;
    rows more = user_;
    for (const std::string& path : chosen)
        more.append({canonical_path(path), vstFolder_t::user});
    setUserFolders(more.folders);
    user_ = std::move(more);
}

bool folders_model::remove(std::optional<size_t> row)
{
    if (!row || *row >= user_.folders.size() || user_.folders[*row].kind != vstFolder_t::user)
        return false;
    rows fewer = user_;
    fewer.folders.erase(fewer.folders.begin() + static_cast<std::ptrdiff_t>(*row));
    fewer.texts.erase(fewer.texts.begin() + static_cast<std::ptrdiff_t>(*row));
    setUserFolders(fewer.folders);
    user_ = std::move(fewer);
    return true;
}
