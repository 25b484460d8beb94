#pragma once
#include <cstddef>
#include <string>

namespace toolkit {

// Where a list's rows come from: no windows. Main thread. Texts are UTF-8. A list asks for them while it is
// drawn, so they are at hand.
class list_source {
public:
    virtual size_t row_count() const = 0;
    virtual std::string row_text(size_t row) const = 0;                // `row` is below the count
    virtual bool is_row_ticked(size_t /*row*/) const { return false; } // of a list with check boxes

protected:
    ~list_source() = default;
};

} // namespace toolkit
