// The parameters of a VST 3 effect, for a list of them.

#include "vsthost/process_shell.h"
#include "vsthost/vst3/vst3_effect.h"
#include "win/utf.h"

#include <algorithm>
#include <cmath>

namespace vsthost::v3 {

namespace {

constexpr int32_t most_parameters = 65536;

double bounded(double value)
{
    return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
}

} // namespace

std::vector<parameter_info> vst3_effect::parameters()
{
    std::vector<parameter_info> result;
    if (!controller_)
        return result;
    const watched_call watched("listing its parameters");
    const int32_t count = std::min(controller_->get_parameter_count(controller_.get()), most_parameters);
    for (int32_t i = 0; i < count; ++i) {
        v3_param_info info{};
        if (controller_->get_parameter_info(controller_.get(), i, &info) != ok)
            continue;
        parameter_info each;
        each.id = info.param_id;
        each.name = text(info.title);
        each.unit = text(info.units);
        each.value = parameter(info.param_id);
        each.default_value = bounded(info.default_normalised_value);
        each.steps = static_cast<uint32_t>(std::max(info.step_count, 0));
        each.read_only = (info.flags & V3_PARAM_READ_ONLY) != 0;
        each.hidden = (info.flags & V3_PARAM_IS_HIDDEN) != 0;
        units_[each.id] = each.unit;
        result.push_back(std::move(each));
    }
    return result;
}

double vst3_effect::parameter(uint32_t id)
{
    return controller_ ? bounded(controller_->get_parameter_normalised(controller_.get(), id)) : 0.0;
}

std::string vst3_effect::parameter_text(uint32_t id)
{
    v3_str_128 wide{};
    if (!controller_ ||
        controller_->get_parameter_string_for_value(controller_.get(), id, parameter(id), wide) != ok)
        return {};
    const std::string shown = text(wide);
    const std::string& unit = units_[id];
    return unit.empty() || shown.ends_with(unit) ? shown : shown + " " + unit;
}

void vst3_effect::set_parameter(uint32_t id, double value)
{
    if (!controller_)
        return;
    controller_->set_parameter_normalised(controller_.get(), id, value);
    edited(id, value); // the component hears of it from the host alone
}

bool vst3_effect::set_parameter_text(uint32_t id, const std::string& wanted)
{
    std::wstring wide = win::to_utf16(wanted);
    wide.resize(std::min<size_t>(wide.size(), 127));
    v3_str_128 given{};
    std::transform(wide.begin(), wide.end(), given, [](wchar_t unit) { return static_cast<int16_t>(unit); });
    double value = 0.0;
    if (!controller_ ||
        controller_->get_parameter_value_for_string(controller_.get(), id, given, &value) != ok ||
        !std::isfinite(value))
        return false;
    set_parameter(id, bounded(value));
    return true;
}

} // namespace vsthost::v3
