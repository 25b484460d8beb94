// Apart: programs that are no tests count as well.

#include "support/system_counts.h"

#include <doctest/doctest.h>

void system_counts::check_nothing_more(size_t spare_handles) const
{
    CHECK(growth(spare_handles) == "");
}
