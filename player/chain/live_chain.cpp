#include "player/chain/live_chain.h"

#include <algorithm>

namespace player {

namespace {

chain_slots::const_iterator place_of(const chain_slots& slots, uint64_t id) noexcept
{
    return std::find_if(slots.begin(), slots.end(), [id](const auto& slot) { return slot->id == id; });
}

// The list with the slot of that id changed; nothing when there is none.
template <class Change>
bool changed_slot(chain_slots& slots, uint64_t id, Change&& change)
{
    const auto place = place_of(slots, id);
    if (place == slots.end())
        return false;
    chain_slot copy = **place;
    change(copy);
    slots[static_cast<size_t>(place - slots.begin())] = std::make_shared<const chain_slot>(std::move(copy));
    return true;
}

} // namespace

const chain_slot* find_slot(const chain_slots& slots, uint64_t id) noexcept
{
    const auto place = place_of(slots, id);
    return place == slots.end() ? nullptr : place->get();
}

live_chain::live_chain()
    : slots_(std::make_shared<const chain_slots>())
{
}

std::shared_ptr<const chain_slots> live_chain::get() const
{
    const std::lock_guard lock(mutex_);
    return slots_;
}

void live_chain::publish(chain_slots slots)
{
    auto next = std::make_shared<const chain_slots>(std::move(slots));
    {
        const std::lock_guard lock(mutex_);
        slots_.swap(next); // the old list goes outside the lock
    }
    if (changed_)
        changed_();
}

uint64_t live_chain::add(const dsp_preset& preset, bool enabled)
{
    chain_slots slots = *get();
    slots.push_back(
        std::make_shared<const chain_slot>(chain_slot{++last_id_, dsp_preset_impl(preset), enabled}));
    publish(std::move(slots));
    return last_id_;
}

void live_chain::remove(uint64_t id)
{
    chain_slots slots = *get();
    if (std::erase_if(slots, [id](const auto& slot) { return slot->id == id; }) != 0)
        publish(std::move(slots));
}

void live_chain::move(uint64_t id, size_t index)
{
    chain_slots slots = *get();
    const auto place = place_of(slots, id);
    if (place == slots.end())
        return;
    auto slot = *place;
    slots.erase(place);
    slots.insert(slots.begin() + static_cast<std::ptrdiff_t>(std::min(index, slots.size())), std::move(slot));
    publish(std::move(slots));
}

void live_chain::enable(uint64_t id, bool enabled)
{
    chain_slots slots = *get();
    if (changed_slot(slots, id, [&](chain_slot& slot) { slot.enabled = enabled; }))
        publish(std::move(slots));
}

void live_chain::set_preset(uint64_t id, const dsp_preset& preset)
{
    chain_slots slots = *get();
    if (changed_slot(slots, id, [&](chain_slot& slot) { slot.preset.copy_from(preset); }))
        publish(std::move(slots));
}

void live_chain::set_all(const dsp_chain_config& presets)
{
    const chain_slots old = *get();
    std::vector<dsp_preset_impl> wanted;
    for (size_t i = 0; i < presets.get_count(); ++i)
        wanted.emplace_back(presets.get_item(i));
    const size_t shorter = std::min(old.size(), wanted.size());
    size_t head = 0, tail = 0;
    while (head < shorter && old[head]->preset == wanted[head])
        ++head;
    while (tail < shorter - head && old[old.size() - 1 - tail]->preset == wanted[wanted.size() - 1 - tail])
        ++tail;

    chain_slots slots(old.begin(), old.begin() + static_cast<std::ptrdiff_t>(head));
    bool pairs = true;
    for (size_t i = head; i < wanted.size() - tail; ++i) {
        pairs = pairs && i < old.size() - tail && old[i]->preset.get_owner() == wanted[i].get_owner();
        chain_slot slot = pairs ? *old[i] : chain_slot{++last_id_, {}};
        slot.preset = std::move(wanted[i]);
        slots.push_back(std::make_shared<const chain_slot>(std::move(slot)));
    }
    slots.insert(slots.end(), old.end() - static_cast<std::ptrdiff_t>(tail), old.end());
    if (slots != old)
        publish(std::move(slots));
}

} // namespace player
