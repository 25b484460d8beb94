#include "effects/bare/vst3_instance.h"

#include "effects/bare/vst3_view.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace bare::vst3 {

namespace {

constexpr std::size_t state_limit = 64u << 20;

bool read_all(v3_bstream** stream, std::vector<std::byte>& bytes)
{
    std::byte part[4096];
    for (;;) {
        int32_t got = 0;
        if (v3_cpp_obj(stream)->read(stream, part, sizeof(part), &got) != ok || got <= 0)
            return true; // the end; some hosts report it as a failure
        if (got > static_cast<int32_t>(sizeof(part)) || bytes.size() > state_limit)
            return false;
        bytes.insert(bytes.end(), part, part + got);
    }
}

bool write_all(v3_bstream** stream, std::span<std::byte> bytes)
{
    while (!bytes.empty()) {
        int32_t done = 0;
        const auto size = static_cast<int32_t>(std::min<std::size_t>(bytes.size(), 1u << 20));
        if (v3_cpp_obj(stream)->write(stream, bytes.data(), size, &done) != ok || done <= 0 || done > size)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(done));
    }
    return true;
}

template <class Sample>
Sample** channels_of(const v3_audio_bus_buffers& bus)
{
    if constexpr (sizeof(Sample) == sizeof(float))
        return bus.channel_buffers_32;
    else
        return bus.channel_buffers_64;
}

// The channels of all buses in a row. A bus that lies inactive may come without memory.
template <class Sample>
std::size_t flatten(const v3_audio_bus_buffers* buses, int32_t count, std::array<Sample*, max_channels>& flat)
{
    std::size_t used = 0;
    for (int32_t b = 0; b < count; ++b) {
        Sample** const from = channels_of<Sample>(buses[b]);
        for (int32_t c = 0; c < buses[b].num_channels && used < max_channels; ++c)
            flat[used++] = from ? from[c] : nullptr;
    }
    return used;
}

} // namespace

instance::~instance()
{
    set_handler(nullptr);
    if (peer_)
        v3_cpp_obj_unref(peer_);
}

void instance::set_handler(v3_component_handler** handler)
{
    if (handler)
        v3_cpp_obj_ref(handler);
    v3_component_handler** old = nullptr;
    {
        const std::lock_guard lock(handler_mutex_);
        old = std::exchange(handler_, handler);
    }
    if (old)
        v3_cpp_obj_unref(old);
}

// With a reference for the caller, or null.
v3_component_handler** instance::borrow_handler()
{
    const std::lock_guard lock(handler_mutex_);
    if (handler_)
        v3_cpp_obj_ref(handler_);
    return handler_;
}

uint32_t instance::release()
{
    const uint32_t left = --references_;
    if (left == 0)
        delete this;
    return left;
}

v3_result instance::query(const v3_tuid iid, void** object)
{
    if (!object)
        return invalid_argument;
    *object = nullptr;
    const bool any = v3_tuid_match(iid, v3_funknown_iid) || v3_tuid_match(iid, v3_plugin_base_iid);
    const bool is_component = role_ == role::component;
    if (is_component && (any || v3_tuid_match(iid, v3_component_iid)))
        *object = &component_;
    else if (is_component && v3_tuid_match(iid, v3_audio_processor_iid))
        *object = &processor_;
    else if (is_controller() && (any || v3_tuid_match(iid, v3_edit_controller_iid)))
        *object = &controller_;
    else if (about().controller == controller_kind::own_object && v3_tuid_match(iid, v3_connection_point_iid))
        *object = &connection_;
    else
        return no_interface;
    add_reference();
    return ok;
}

template <class Call>
void instance::call_handler(Call call)
{
    if (v3_component_handler** const handler = borrow_handler()) {
        call(handler);
        v3_cpp_obj_unref(handler);
    }
}

void instance::want_restart(int32_t flags)
{
    call_handler(
        [flags](v3_component_handler** handler) { v3_cpp_obj(handler)->restart_component(handler, flags); });
}

void instance::edited(std::size_t parameter, double normalised)
{
    begin_edit(parameter);
    report(parameter, normalised);
    end_edit(parameter);
}

void instance::begin_edit(std::size_t parameter)
{
    call_handler([id = static_cast<v3_param_id>(parameter)](v3_component_handler** handler) {
        v3_cpp_obj(handler)->begin_edit(handler, id);
    });
}

void instance::edit(std::size_t parameter, double normalised)
{
    effect_->set_value(parameter, about().parameters[parameter].to_plain(normalised));
    report(parameter, normalised);
}

void instance::report(std::size_t parameter, double normalised)
{
    call_handler([id = static_cast<v3_param_id>(parameter), normalised](v3_component_handler** handler) {
        v3_cpp_obj(handler)->perform_edit(handler, id, normalised);
    });
}

void instance::end_edit(std::size_t parameter)
{
    call_handler([id = static_cast<v3_param_id>(parameter)](v3_component_handler** handler) {
        v3_cpp_obj(handler)->end_edit(handler, id);
    });
}

v3_plugin_view** instance::make_view()
{
    std::unique_ptr<editor> shown = about().has_editor ? effect_->make_editor() : nullptr;
    return shown ? (new view(*this, std::move(shown)))->pointer() : nullptr;
}

v3_result instance::bus_info(int32_t media, int32_t direction, int32_t index, v3_bus_info* info) const
{
    if (!info || index < 0 || (direction != V3_INPUT && direction != V3_OUTPUT))
        return invalid_argument;
    *info = {};
    info->media_type = media;
    info->direction = direction;
    info->flags = V3_DEFAULT_ACTIVE;
    if (media == V3_EVENT) {
        if (!about().instrument || direction != V3_INPUT || index != 0)
            return invalid_argument;
        info->channel_count = 1;
        copy_text(info->bus_name, "Events");
        return ok;
    }
    const auto position = static_cast<std::size_t>(index);
    if (position >= buses(direction).size())
        return invalid_argument;
    const bus& what = buses(direction)[position];
    info->channel_count = std::popcount(arrangements_[direction][position]);
    copy_text(info->bus_name, what.name);
    info->bus_type = what.main ? V3_MAIN : V3_AUX;
    info->flags = what.main ? V3_DEFAULT_ACTIVE : 0;
    return ok;
}

v3_result instance::set_arrangements(const v3_speaker_arrangement* in, int32_t ins,
                                     const v3_speaker_arrangement* out, int32_t outs)
{
    if (active_ || ins < 0 || outs < 0 || (ins > 0 && !in) || (outs > 0 && !out))
        return invalid_argument;
    const std::vector<v3_speaker_arrangement> wanted[2] = {{in, in + ins}, {out, out + outs}};
    std::vector<int> counts[2];
    for (std::size_t d = 0; d < 2; ++d)
        for (const v3_speaker_arrangement arrangement : wanted[d])
            counts[d].push_back(std::popcount(arrangement));
    if (wanted[0].size() != about().inputs.size() || wanted[1].size() != about().outputs.size() ||
        !effect_->set_layout(counts[0], counts[1]))
        return no;
    arrangements_[0] = wanted[0];
    arrangements_[1] = wanted[1];
    return ok;
}

v3_result instance::parameter_info(int32_t index, v3_param_info* info) const
{
    const parameter* const what = index < 0 ? nullptr : find(static_cast<v3_param_id>(index));
    if (!what || !info)
        return invalid_argument;
    *info = {};
    info->param_id = static_cast<v3_param_id>(index);
    copy_text(info->title, what->name);
    copy_text(info->short_title, what->name);
    copy_text(info->units, what->unit);
    info->default_normalised_value = what->to_normalised(what->def);
    info->flags = V3_PARAM_CAN_AUTOMATE;
    return ok;
}

v3_result instance::to_text(v3_param_id id, double normalised, int16_t* text) const
{
    if (!find(id) || !text)
        return invalid_argument;
    char digits[64];
    std::snprintf(digits, sizeof(digits), "%.2f", find(id)->to_plain(normalised));
    v3_str_128 wide{};
    copy_text(wide, digits);
    std::memcpy(text, wide, sizeof(wide));
    return ok;
}

v3_result instance::from_text(v3_param_id id, const int16_t* text, double* normalised) const
{
    if (!find(id) || !text || !normalised)
        return invalid_argument;
    std::string digits;
    for (std::size_t i = 0; i < 127 && text[i] > 0 && text[i] < 128; ++i)
        digits.push_back(static_cast<char>(text[i]));
    char* end = nullptr;
    const double plain = std::strtod(digits.c_str(), &end);
    if (end == digits.c_str())
        return no;
    *normalised = find(id)->to_normalised(plain);
    return ok;
}

// The last point of each queue holds for the whole block.
void instance::take_changes(v3_param_changes** changes)
{
    const int32_t count = changes ? v3_cpp_obj(changes)->get_param_count(changes) : 0;
    for (int32_t i = 0; i < count; ++i) {
        v3_param_value_queue** const queue = v3_cpp_obj(changes)->get_param_data(changes, i);
        if (!queue)
            continue;
        const v3_param_id id = v3_cpp_obj(queue)->get_param_id(queue);
        const int32_t points = v3_cpp_obj(queue)->get_point_count(queue);
        int32_t offset = 0;
        double value = 0;
        if (points > 0 && find(id) && v3_cpp_obj(queue)->get_point(queue, points - 1, &offset, &value) == ok)
            effect_->set_value(id, find(id)->to_plain(value));
    }
}

template <class Sample>
bool instance::process_block(v3_process_data& data)
{
    std::array<Sample*, max_channels> in{}, out{};
    const std::size_t ins = flatten<Sample>(data.inputs, data.inputs ? data.num_input_buses : 0, in);
    const std::size_t outs = flatten<Sample>(data.outputs, data.outputs ? data.num_output_buses : 0, out);
    const bool processed = effect_->process(
        block<Sample>{{in.data(), ins}, {out.data(), outs}, static_cast<std::size_t>(data.nframes)});
    for (int32_t b = 0; data.outputs && b < data.num_output_buses; ++b)
        data.outputs[b].channel_silence_bitset = 0;
    return processed;
}

v3_result instance::process(v3_process_data& data)
{
    if (data.nframes > 0 || !about().edits_need_samples)
        take_changes(data.input_params);
    if (data.nframes <= 0)
        return ok; // parameters only
    if (data.symbolic_sample_size != setup_.symbolic_sample_size)
        return invalid_argument;
    const bool processed =
        data.symbolic_sample_size == V3_SAMPLE_64 ? process_block<double>(data) : process_block<float>(data);
    report_meter(data.output_params);
    return processed ? ok : internal_error;
}

void instance::report_meter(v3_param_changes** changes)
{
    const std::optional<double> value = effect_->metered();
    if (!value || !changes)
        return;
    auto id = static_cast<v3_param_id>(about().parameters.size() - 1);
    int32_t index = 0;
    if (v3_param_value_queue** const queue = v3_cpp_obj(changes)->add_param_data(changes, &id, &index))
        v3_cpp_obj(queue)->add_point(queue, 0, about().parameters[id].to_normalised(*value), &index);
}

v3_result instance::load(v3_bstream** stream)
{
    std::vector<std::byte> bytes;
    if (!stream || !read_all(stream, bytes))
        return invalid_argument;
    return effect_->load(bytes) ? ok : internal_error;
}

v3_result instance::save(v3_bstream** stream)
{
    if (!stream)
        return invalid_argument;
    if (about().fails_to_save)
        return internal_error;
    std::vector<std::byte> bytes = effect_->save();
    return write_all(stream, bytes) ? ok : internal_error;
}

void instance::set_active(bool active)
{
    if (active == active_)
        return;
    active_ = active;
    if (active)
        effect_->start();
    else
        effect_->stop();
}

} // namespace bare::vst3
