#pragma once
#include "sdk/dsp_chain_config.h"
#include "sdk/dsp_preset_impl.h"

#include <stdexcept>
#include <vector>

// The concrete chain, a copyable value.
class dsp_chain_config_impl final : public dsp_chain_config {
public:
    dsp_chain_config_impl() = default;
    explicit dsp_chain_config_impl(const dsp_chain_config& source)
    {
        for (size_t i = 0; i < source.get_count(); ++i)
            items_.emplace_back(source.get_item(i));
    }

    size_t get_count() const noexcept override { return items_.size(); }
    const dsp_preset& get_item(size_t index) const override { return items_.at(index); }
    void replace_item(const dsp_preset& preset, size_t index) override { items_.at(index).copy_from(preset); }
    void insert_item(const dsp_preset& preset, size_t index) override
    {
        if (index > items_.size())
            throw std::out_of_range("dsp_chain_config::insert_item");
        items_.emplace(items_.begin() + static_cast<std::ptrdiff_t>(index), preset);
    }
    void remove_item(size_t index) override
    {
        static_cast<void>(items_.at(index)); // throws when there is none
        items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
    }

private:
    std::vector<dsp_preset_impl> items_;
};
