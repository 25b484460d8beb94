#pragma once
#include "sdk/guid.h"

#include <cstddef>

// The configuration of one DSP as the player stores it: the GUID of the DSP entry that owns it and bytes that
// only that entry understands. Plain value, no thread of its own.
class dsp_preset {
public:
    virtual guid_t get_owner() const noexcept = 0;
    virtual void set_owner(const guid_t& owner) noexcept = 0;
    // Valid until the data is replaced; may be null when the size is 0.
    virtual const void* get_data() const noexcept = 0;
    virtual size_t get_data_size() const noexcept = 0;
    // Copies the bytes. Throws std::bad_alloc; the old data stays then.
    virtual void set_data(const void* data, size_t byte_count) = 0;

protected:
    ~dsp_preset() = default;
};
