#pragma once
// What the list of parameters shows: the rows that fit the search, their texts and values. Pure; GUI thread.

#include "vsthost/parameters.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vsthost {

class parameter_model {
public:
    struct row {
        parameter_info about;
        std::string text; // of the value
    };

    // `source` outlives the model.
    explicit parameter_model(parameter_source& source);

    // Asks for everything again: names may have changed as well.
    void reload();

    // Rows whose name holds every word of `words`, in any order, capitals or not.
    void search(std::string_view words);
    size_t count() const noexcept { return shown_.size(); }
    size_t total() const noexcept { return all_.size(); }
    const row& at(size_t position) const { return all_[shown_[position]]; }

    // Reads values and texts of these rows again (`last` is one behind); true when one of them changed.
    bool refresh(size_t first, size_t last);

    // Nothing happens on a row that is read-only. Values are put on the nearest step.
    void set(size_t position, double value);
    void set_default(size_t position);
    // By so many of its steps, or hundredths where it is continuous.
    void nudge(size_t position, double steps);
    // False when the effect cannot read it.
    bool type(size_t position, const std::string& text);

private:
    void update(row& of);

    parameter_source& source_;
    std::vector<row> all_;
    std::vector<size_t> shown_; // positions in all_
    std::string words_;
};

} // namespace vsthost
