#include "sdk/dsp_chunk_list_impl.h"

#include <algorithm>

audio_chunk* dsp_chunk_list_impl::get_item(size_t index) noexcept
{
    return index < items_.size() ? items_[index].get() : nullptr;
}

void dsp_chunk_list_impl::remove_by_index(size_t index) noexcept
{
    if (index >= items_.size())
        return;
    // insert_item reserved the room, so this cannot fail.
    spare_.push_back(std::move(items_[index]));
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
}

audio_chunk* dsp_chunk_list_impl::insert_item(size_t index, size_t hint_size)
{
    std::unique_ptr<audio_chunk_impl_t> item;
    if (spare_.empty()) {
        item = std::make_unique<audio_chunk_impl_t>();
    } else {
        item = std::move(spare_.back());
        spare_.pop_back();
    }
    item->set_data_size(hint_size);
    item->set_data_size(0);
    item->set_sample_rate(0);
    item->set_channels(0, 0);
    item->set_sample_count(0);

    spare_.reserve(spare_.size() + items_.size() + 1);
    const size_t at = std::min(index, items_.size());
    return items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(at), std::move(item))->get();
}

void dsp_chunk_list_impl::remove_all() noexcept
{
    while (!items_.empty())
        remove_by_index(items_.size() - 1);
}
