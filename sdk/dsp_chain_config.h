#pragma once
#include "sdk/dsp_preset.h"

// The DSP chain: an ordered list of presets, each a DSP; a value, used by one thread at a time. Indexes that
// are out of range throw std::out_of_range.
class dsp_chain_config {
public:
    virtual size_t get_count() const noexcept = 0;
    virtual const dsp_preset& get_item(size_t index) const = 0; // valid until the chain changes
    virtual void replace_item(const dsp_preset& preset, size_t index) = 0;
    virtual void insert_item(const dsp_preset& preset, size_t index) = 0; // index == count appends
    virtual void remove_item(size_t index) = 0;

protected:
    ~dsp_chain_config() = default;
};
