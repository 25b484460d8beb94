#pragma once
// What the folders dialog shows and changes. No windows; main thread.

#include "catalogue/vstFolder.h"
#include "ui/toolkit/list_source.h"

#include <optional>
#include <string>
#include <vector>

// Every change is stored at once and scans the open lists of effects anew (catalogue/settings.h). Where
// storing throws, nothing has changed. Rows show folders in the form that the player's file system has for
// people; everything else goes by the stored path.
class folders_model {
public:
    // Reads the user's folders and which defaults are switched off; later changes of others are not seen.
    explicit folders_model(std::vector<vstFolder_t> default_folders);

    const toolkit::list_source& user_rows() const noexcept { return user_; }
    const toolkit::list_source& default_rows() const noexcept { return defaults_; }
    // The stored path, in the form that the system opens; nothing for a row that is not there.
    std::optional<std::string> user_path(size_t row) const;
    std::optional<std::string> default_path(size_t row) const;

    void tick_default(size_t row, bool ticked);
    // Folders as a picker returned them, appended in that order, also those that are listed already.
    // None: nothing is stored.
    void add(const std::vector<std::string>& chosen);
    // False for a row that is not there or whose folder is not the user's to remove.
    bool remove(std::optional<size_t> row);

private:
    struct rows final : toolkit::list_source {
        size_t row_count() const override { return folders.size(); }
        std::string row_text(size_t row) const override { return texts.at(row); }
        bool is_row_ticked(size_t row) const override;
        void append(vstFolder_t folder);

        std::vector<vstFolder_t> folders;
        std::vector<std::string> texts;    // one for each folder
        std::vector<std::string> disabled; // paths
    };
    rows user_, defaults_;
};
