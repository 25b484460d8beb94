#include "vsthost/vst3/vst3_buses.h"

#include "vsthost/vst3/vst3_module.h"

#include <algorithm>
#include <bit>

namespace vsthost::v3 {

namespace {

constexpr int32_t most_buses = 64;
constexpr uint32_t most_channels = 64;

uint64_t all_channels(uint32_t count)
{
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

} // namespace

void bus_side::read(const ref<v3_component>& component, const ref<v3_audio_processor>& processor,
                    int32_t direction, uint32_t wanted_channels)
{
    buses_.clear();
    main_.clear();
    const int32_t count =
        std::clamp(component->get_bus_count(component.get(), V3_AUDIO, direction), 0, most_buses);
    for (int32_t i = 0; i < count; ++i) {
        audio_bus bus;
        v3_bus_info info{};
        if (component->get_bus_info(component.get(), V3_AUDIO, direction, i, &info) == ok) {
            bus.name = text(info.bus_name);
            bus.main = info.bus_type == V3_MAIN;
            bus.channels = static_cast<uint32_t>(std::clamp<int32_t>(info.channel_count, 0, most_channels));
        }
        // The arrangement follows what was agreed; some modules leave the count in their bus information
        // behind.
        if (processor->get_bus_arrangement(processor.get(), direction, i, &bus.arrangement) == ok &&
            bus.arrangement != 0)
            bus.channels = static_cast<uint32_t>(std::popcount(bus.arrangement));
        else
            bus.arrangement = to_arrangement({bus.channels, 0});
        buses_.push_back(bus);
    }
    for (size_t i = 0; i < buses_.size(); ++i)
        if (buses_[i].main && (main_.empty() || (buses_[i].channels == 1 && buses_[main_[0]].channels == 1)))
            main_.push_back(i);
    if (main_.size() > 1)
        main_.resize(main_.size() >= wanted_channels && wanted_channels > 1 ? wanted_channels : 1);
}

bool bus_side::in_use(size_t bus) const noexcept
{
    return std::ranges::find(main_, bus) != main_.end();
}

channel_layout bus_side::main_layout() const
{
    if (main_.empty())
        return {};
    if (main_.size() > 1) {
        const auto channels = static_cast<uint32_t>(main_.size());
        return {channels, default_mask(channels)};
    }
    channel_layout layout = from_arrangement(buses_[main_[0]].arrangement);
    layout.channels = buses_[main_[0]].channels;
    return layout;
}

std::vector<uint64_t> bus_side::arrangements_with(channel_layout main) const
{
    std::vector<uint64_t> result;
    for (const audio_bus& bus : buses_)
        result.push_back(bus.arrangement);
    if (!main_.empty())
        result[main_[0]] = to_arrangement(main);
    if (result.empty())
        result.push_back(0);
    return result;
}

void bus_side::activate(const ref<v3_component>& component, int32_t direction) const
{
    for (size_t i = 0; i < buses_.size(); ++i)
        component->activate_bus(component.get(), V3_AUDIO, direction, static_cast<int32_t>(i),
                                in_use(i) ? 1 : 0);
}

void bus_side::allocate(size_t block_size, float** main32, double** main64)
{
    spare_.assign(block_size, 0.0);
    pointers32_.assign(buses_.size(), {});
    pointers64_.assign(buses_.size(), {});
    buffers_.assign(buses_.size() + 1, {});
    clears_spare_ = false;
    size_t main_channel = 0;
    for (size_t i = 0; i < buses_.size(); ++i) {
        v3_audio_bus_buffers& buffer = buffers_[i];
        buffer.num_channels = static_cast<int32_t>(buses_[i].channels);
        pointers32_[i].assign(buses_[i].channels + 1, reinterpret_cast<float*>(spare_.data()));
        pointers64_[i].assign(buses_[i].channels + 1, spare_.data());
        if (main32 != nullptr)
            buffer.channel_buffers_32 = in_use(i) ? main32 + main_channel : pointers32_[i].data();
        else
            buffer.channel_buffers_64 = in_use(i) ? main64 + main_channel : pointers64_[i].data();
        if (in_use(i))
            main_channel += buses_[i].channels;
        clears_spare_ |= !in_use(i);
    }
}

void bus_side::begin_block(uint64_t main_silence) noexcept
{
    if (clears_spare_)
        std::ranges::fill(spare_, 0.0);
    for (size_t i = 0; i < buses_.size(); ++i)
        buffers_[i].channel_silence_bitset = all_channels(buses_[i].channels);
    if (main_.size() == 1) {
        buffers_[main_[0]].channel_silence_bitset = main_silence;
        return;
    }
    for (size_t c = 0; c < main_.size(); ++c)
        buffers_[main_[c]].channel_silence_bitset = main_silence >> c & 1;
}

uint64_t bus_side::main_silence() const noexcept
{
    if (main_.size() == 1)
        return buffers_[main_[0]].channel_silence_bitset;
    uint64_t silence = 0;
    for (size_t c = 0; c < main_.size(); ++c)
        silence |= (buffers_[main_[c]].channel_silence_bitset & 1) << c;
    return silence;
}

} // namespace vsthost::v3
