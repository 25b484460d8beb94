#pragma once
#include "sdk/dsp_preset.h"

#include <cstdint>
#include <vector>

// The concrete preset, a copyable value.
class dsp_preset_impl final : public dsp_preset {
public:
    dsp_preset_impl() = default;
    explicit dsp_preset_impl(const dsp_preset& source) { copy_from(source); }

    guid_t get_owner() const noexcept override { return owner_; }
    void set_owner(const guid_t& owner) noexcept override { owner_ = owner; }
    const void* get_data() const noexcept override { return data_.data(); }
    size_t get_data_size() const noexcept override { return data_.size(); }
    void set_data(const void* data, size_t byte_count) override
    {
        const auto* bytes = static_cast<const uint8_t*>(data);
        data_ = byte_count ? std::vector<uint8_t>(bytes, bytes + byte_count) : std::vector<uint8_t>();
    }
    void copy_from(const dsp_preset& source)
    {
        set_data(source.get_data(), source.get_data_size());
        owner_ = source.get_owner();
    }

    friend bool operator==(const dsp_preset_impl& a, const dsp_preset_impl& b)
    {
        return a.owner_ == b.owner_ && a.data_ == b.data_;
    }

private:
    guid_t owner_;
    std::vector<uint8_t> data_;
};
