#pragma once
#include "sdk/audio_chunk_impl.h"
#include "sdk/dsp_chunk_list.h"

#include <memory>
#include <vector>

// The concrete list. Removed chunks are kept for the next insert, so that a warm list allocates nothing.
class dsp_chunk_list_impl final : public dsp_chunk_list {
public:
    size_t get_count() const noexcept override { return items_.size(); }
    audio_chunk* get_item(size_t index) noexcept override;
    void remove_by_index(size_t index) noexcept override;
    audio_chunk* insert_item(size_t index, size_t hint_size) override;

    audio_chunk* add_item(size_t hint_size = 0) { return insert_item(items_.size(), hint_size); }
    void remove_all() noexcept;

private:
    std::vector<std::unique_ptr<audio_chunk_impl_t>> items_;
    std::vector<std::unique_ptr<audio_chunk_impl_t>> spare_;
};
