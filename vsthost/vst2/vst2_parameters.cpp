// The parameters of a VST 2 effect, for a list of them.

#include "vsthost/process_shell.h"
#include "vsthost/vst2/vst2_effect.h"
#include "win/utf.h"

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace vsthost::v2 {

namespace {

constexpr int32_t most_parameters = 65536;

} // namespace

uint32_t vst2_effect::parameter_count() const noexcept
{
    return static_cast<uint32_t>(std::clamp(effect_->num_params, 0, most_parameters));
}

float vst2_effect::value(uint32_t index) const
{
    const saved_float_state saved;
    return effect_->get_parameter(effect_, index);
}

void vst2_effect::set_value(uint32_t index, float value) const
{
    const saved_float_state saved;
    effect_->set_parameter(effect_, index, value);
}

std::vector<parameter_info> vst2_effect::parameters()
{
    const watched_call watched("listing its parameters");
    std::vector<parameter_info> result;
    for (uint32_t i = 0; i < parameter_count(); ++i) {
        const auto index = static_cast<int32_t>(i);
        parameter_info each;
        each.id = i;
        each.name = text(effect_get_parameter_name, index);
        each.unit = text(effect_get_parameter_label, index);
        each.value = parameter(i);
        each.default_value = i < defaults_.size() ? static_cast<double>(defaults_[i]) : each.value;
        result.push_back(std::move(each));
    }
    return result;
}

double vst2_effect::parameter(uint32_t id)
{
    const auto now = static_cast<double>(value(id));
    return std::isfinite(now) ? std::clamp(now, 0.0, 1.0) : 0.0;
}

std::string vst2_effect::parameter_text(uint32_t id)
{
    const auto index = static_cast<int32_t>(id);
    const std::string shown = text(effect_get_parameter_display, index);
    const std::string unit = text(effect_get_parameter_label, index);
    return unit.empty() || shown.ends_with(unit) ? shown : shown + " " + unit;
}

void vst2_effect::set_parameter(uint32_t id, double value)
{
    set_value(id, static_cast<float>(value));
    note_edit();
}

bool vst2_effect::set_parameter_text(uint32_t id, const std::string& wanted)
{
    char bytes[text_size] = {};
    const std::wstring wide = win::to_utf16(wanted);
    if (WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), bytes, sizeof bytes - 1,
                            nullptr, nullptr) > 0 &&
        call(effect_text_to_parameter, static_cast<int32_t>(id), 0, bytes) != 0) {
        note_edit();
        return true;
    }
    // Most effects of this format read no texts, but all show their values as one: the number is looked for
    // between the two ends of the parameter's way.
    char* end = nullptr;
    const double target = std::strtod(bytes, &end);
    if (end == bytes || !std::isfinite(target))
        return false;
    const double before = parameter(id);
    const auto shown_at = [&](double value) {
        set_parameter(id, value);
        return std::strtod(text(effect_get_parameter_display, static_cast<int32_t>(id)).c_str(), nullptr);
    };
    double low = 0.0;
    double high = 1.0;
    const double at_low = shown_at(low);
    const double at_high = shown_at(high);
    const bool rises = at_low < at_high;
    if (!std::isfinite(at_low) || !std::isfinite(at_high) || at_low == at_high ||
        target < std::min(at_low, at_high) || target > std::max(at_low, at_high)) {
        set_parameter(id, before);
        return false;
    }
    constexpr int halvings = 30; // beyond what a float can tell apart
    for (int i = 0; i < halvings; ++i) {
        const double middle = (low + high) / 2;
        const bool below = (shown_at(middle) < target) == rises;
        (below ? low : high) = middle;
    }
    set_parameter(id, high);
    return true;
}

} // namespace vsthost::v2
