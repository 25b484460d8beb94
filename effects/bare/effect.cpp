#include "effects/bare/effect.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace bare {

namespace {

bool matches(const std::vector<bus>& buses, std::span<const int> counts)
{
    return std::ranges::equal(buses, counts, {}, &bus::channels);
}

} // namespace

effect::effect(const description& about)
    : about_(about)
    , values_(std::make_unique<std::atomic<double>[]>(about.parameters.size()))
{
    for (std::size_t i = 0; i < about.parameters.size(); ++i)
        values_[i].store(about.parameters[i].def, std::memory_order_relaxed);
}

void effect::set_value(std::size_t index, double plain)
{
    const parameter& range = about_.parameters[index];
    if (std::isnan(plain))
        return;
    values_[index].store(std::clamp(plain, range.min, range.max), std::memory_order_relaxed);
}

bool effect::set_layout(std::span<const int> inputs, std::span<const int> outputs)
{
    return matches(about_.inputs, inputs) && matches(about_.outputs, outputs);
}

std::vector<std::byte> effect::save()
{
    const auto count = static_cast<uint32_t>(about_.parameters.size());
    std::vector<std::byte> state(sizeof(count) + count * sizeof(double));
    std::memcpy(state.data(), &count, sizeof(count));
    for (std::size_t i = 0; i < count; ++i) {
        const double plain = value(i);
        std::memcpy(state.data() + sizeof(count) + i * sizeof(double), &plain, sizeof(double));
    }
    return state;
}

bool effect::load(std::span<const std::byte> state)
{
    const std::size_t count = about_.parameters.size();
    uint32_t stored = 0;
    if (state.size() < sizeof(stored))
        return false;
    std::memcpy(&stored, state.data(), sizeof(stored));
    if (stored != count || state.size() < sizeof(stored) + count * sizeof(double))
        return false;
    for (std::size_t i = 0; i < count; ++i) {
        double plain = 0;
        std::memcpy(&plain, state.data() + sizeof(stored) + i * sizeof(double), sizeof(double));
        set_value(i, plain);
    }
    return true;
}

} // namespace bare
