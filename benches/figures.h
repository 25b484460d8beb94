#pragma once
#include "benches/measure.h"

namespace bench {

// Each measures its figures and prints one after the other; those that are not wanted are left out. Goals
// stand where the figures are.
void chunk_figures(const options& how);
void start_figures(const options& how);
void sample_figures(const options& how);
void scan_figures(const options& how);
void feed_figures(const options& how);
void allocation_figures(const options& how);

inline bool wanted(const options& how, const std::string& name)
{
    return name.find(how.only) != std::string::npos;
}

} // namespace bench
