#pragma once
#include "sdk/audio_chunk.h"

// The chunks handed to a DSP in one call; the list owns them. One thread at a time.
class dsp_chunk_list {
public:
    virtual size_t get_count() const noexcept = 0;
    // Valid until it is removed; null when `index` is not below the count.
    virtual audio_chunk* get_item(size_t index) noexcept = 0;
    virtual void remove_by_index(size_t index) noexcept = 0;
    // A new empty chunk before the item at `index` (at the end when the index is not below the count). The
    // hint is the number of samples (of all channels) it is about to hold, or 0. Other chunks stay where they
    // are in memory. Never null; throws std::bad_alloc, and the list is unchanged then.
    virtual audio_chunk* insert_item(size_t index, size_t hint_size) = 0;

protected:
    ~dsp_chunk_list() = default;
};
