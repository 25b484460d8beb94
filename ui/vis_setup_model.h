#pragma once
// What the setup of a visualisation lists. No windows; main thread.

#include "catalogue/vstConfig.h"
#include "ui/toolkit/list_source.h"

#include <optional>
#include <vector>

class vis_setup_model final : public toolkit::list_source {
public:
    void scan_ended(std::vector<vstConfig_t> found) { found_ = std::move(found); }

    size_t row_count() const override { return found_.size(); }
    std::string row_text(size_t row) const override { return found_.at(row).path; }

    bool can_start(std::optional<size_t> row) const noexcept { return row && *row < found_.size(); }
    std::optional<vstConfig_t> effect(std::optional<size_t> row) const
    {
        return can_start(row) ? std::optional(found_[*row]) : std::nullopt;
    }

private:
    std::vector<vstConfig_t> found_; // empty until the scan delivers
};
