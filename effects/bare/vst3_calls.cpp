// The tables of functions through which hosts call an instance: one for each interface.

#include "effects/bare/vst3_instance.h"

#include <cstring>
#include <utility>

namespace bare::vst3 {

namespace {

// The arrangement that a bus has before a host sets one.
v3_speaker_arrangement usual_arrangement(int channels)
{
    switch (channels) {
    case 0:
        return 0;
    case 1:
        return V3_SPEAKER_M;
    case 2:
        return V3_SPEAKER_L | V3_SPEAKER_R;
    case 4:
        return V3_SPEAKER_L | V3_SPEAKER_R | V3_SPEAKER_LS | V3_SPEAKER_RS;
    default: // 5.1 and 7.1 among them
        return (v3_speaker_arrangement{1} << channels) - 1;
    }
}

} // namespace

struct instance::calls {
    template <class Table>
    static void unknown(v3_funknown& t)
    {
        using bound = bind<Table, instance>;
        bound::to(t.query_interface,
                  [](instance& i, const uint8_t* iid, void** object) { return i.query(iid, object); });
        bound::to(t.ref, [](instance& i) { return i.add_reference(); });
        bound::to(t.unref, [](instance& i) { return i.release(); });
    }

    static v3_component_cpp component()
    {
        using bound = bind<v3_component_cpp, instance>;
        v3_component_cpp t{};
        unknown<v3_component_cpp>(t);
        bound::to(t.base.initialize,
                  [](instance& i, v3_funknown**) { return i.effect_->open(i) ? ok : internal_error; });
        bound::to(t.base.terminate, [](instance& i) {
            i.set_active(false);
            return ok;
        });
        bound::to(t.comp.get_controller_class_id, [](instance& i, uint8_t* id) {
            if (i.about().controller != controller_kind::own_object || !id)
                return not_implemented;
            v3_tuid own;
            copy_class_id(own, controller_id(i.about().class_id));
            std::memcpy(id, own, sizeof(own));
            return ok;
        });
        bound::to(t.comp.set_io_mode, [](instance&, int32_t) { return not_implemented; });
        bound::to(t.comp.get_bus_count, [](instance& i, int32_t media, int32_t direction) {
            if (media == V3_EVENT)
                return direction == V3_INPUT && i.about().instrument ? 1 : 0;
            return static_cast<int32_t>(i.buses(direction).size());
        });
        bound::to(t.comp.get_bus_info,
                  [](instance& i, int32_t media, int32_t direction, int32_t index, v3_bus_info* info) {
                      return i.bus_info(media, direction, index, info);
                  });
        bound::to(t.comp.get_routing_info,
                  [](instance&, v3_routing_info*, v3_routing_info*) { return not_implemented; });
        bound::to(t.comp.activate_bus,
                  [](instance& i, int32_t media, int32_t direction, int32_t index, v3_bool) {
                      v3_bus_info info;
                      return i.bus_info(media, direction, index, &info);
                  });
        bound::to(t.comp.set_active, [](instance& i, v3_bool state) {
            i.set_active(state != 0);
            return ok;
        });
        bound::to(t.comp.set_state, [](instance& i, v3_bstream** stream) { return i.load(stream); });
        bound::to(t.comp.get_state, [](instance& i, v3_bstream** stream) { return i.save(stream); });
        return t;
    }

    static v3_audio_processor_cpp processor()
    {
        using bound = bind<v3_audio_processor_cpp, instance>;
        v3_audio_processor_cpp t{};
        unknown<v3_audio_processor_cpp>(t);
        bound::to(t.proc.set_bus_arrangements,
                  [](instance& i, v3_speaker_arrangement* in, int32_t ins, v3_speaker_arrangement* out,
                     int32_t outs) { return i.set_arrangements(in, ins, out, outs); });
        bound::to(t.proc.get_bus_arrangement,
                  [](instance& i, int32_t direction, int32_t index, v3_speaker_arrangement* arrangement) {
                      const auto& all = i.arrangements_[direction == V3_INPUT ? 0 : 1];
                      if (!arrangement || index < 0 || static_cast<std::size_t>(index) >= all.size())
                          return invalid_argument;
                      *arrangement = all[static_cast<std::size_t>(index)];
                      return ok;
                  });
        bound::to(t.proc.can_process_sample_size,
                  [](instance& i, int32_t size) { return i.takes(size) ? ok : no; });
        bound::to(t.proc.get_latency_samples, [](instance& i) { return i.effect_->latency(); });
        bound::to(t.proc.setup_processing, [](instance& i, v3_process_setup* setup) {
            if (!setup || i.active_ || !i.takes(setup->symbolic_sample_size))
                return invalid_argument;
            i.setup_ = *setup;
            i.effect_->prepare(setup->sample_rate, setup->max_block_size);
            return ok;
        });
        bound::to(t.proc.set_processing, [](instance&, v3_bool) { return ok; });
        bound::to(t.proc.process, [](instance& i, v3_process_data* data) {
            return data ? i.process(*data) : invalid_argument;
        });
        bound::to(t.proc.get_tail_samples, [](instance& i) { return i.effect_->tail(); });
        return t;
    }

    static v3_edit_controller_cpp controller()
    {
        using bound = bind<v3_edit_controller_cpp, instance>;
        v3_edit_controller_cpp t{};
        unknown<v3_edit_controller_cpp>(t);
        // A single object was initialised as a component.
        bound::to(t.base.initialize, [](instance& i, v3_funknown**) {
            return i.role_ != role::controller || i.effect_->open(i) ? ok : internal_error;
        });
        bound::to(t.base.terminate, [](instance&) { return ok; });
        bound::to(t.ctrl.set_component_state, [](instance& i, v3_bstream** stream) {
            return i.role_ == role::controller ? i.load(stream) : ok; // the component has these bytes already
        });
        bound::to(t.ctrl.set_state, [](instance&, v3_bstream**) { return ok; });
        bound::to(t.ctrl.get_state, [](instance&, v3_bstream**) { return not_implemented; });
        bound::to(t.ctrl.get_parameter_count,
                  [](instance& i) { return static_cast<int32_t>(i.about().parameters.size()); });
        bound::to(t.ctrl.get_parameter_info, [](instance& i, int32_t index, v3_param_info* info) {
            return i.parameter_info(index, info);
        });
        bound::to(t.ctrl.get_parameter_string_for_value,
                  [](instance& i, v3_param_id id, double value, int16_t* text) {
                      return i.to_text(id, value, text);
                  });
        bound::to(t.ctrl.get_parameter_value_for_string,
                  [](instance& i, v3_param_id id, int16_t* text, double* value) {
                      return i.from_text(id, text, value);
                  });
        bound::to(t.ctrl.normalised_parameter_to_plain, [](instance& i, v3_param_id id, double value) {
            return i.find(id) ? i.find(id)->to_plain(value) : 0.0;
        });
        bound::to(t.ctrl.plain_parameter_to_normalised, [](instance& i, v3_param_id id, double value) {
            return i.find(id) ? i.find(id)->to_normalised(value) : 0.0;
        });
        bound::to(t.ctrl.get_parameter_normalised, [](instance& i, v3_param_id id) {
            return i.find(id) ? i.find(id)->to_normalised(i.effect_->value(id)) : 0.0;
        });
        bound::to(t.ctrl.set_parameter_normalised, [](instance& i, v3_param_id id, double value) {
            if (!i.find(id))
                return invalid_argument;
            if (!i.about().edits_need_samples)
                i.effect_->set_value(id, i.find(id)->to_plain(value));
            return ok;
        });
        bound::to(t.ctrl.set_component_handler, [](instance& i, v3_component_handler** handler) {
            i.set_handler(handler);
            return ok;
        });
        bound::to(t.ctrl.create_view, [](instance& i, const char* name) {
            const bool known = name && std::strcmp(name, "editor") == 0;
            return known ? i.make_view() : static_cast<v3_plugin_view**>(nullptr);
        });
        return t;
    }

    static v3_connection_point_cpp connection()
    {
        using bound = bind<v3_connection_point_cpp, instance>;
        v3_connection_point_cpp t{};
        unknown<v3_connection_point_cpp>(t);
        bound::to(t.point.connect, [](instance& i, v3_connection_point** other) {
            if (!other || i.peer_)
                return invalid_argument;
            v3_cpp_obj_ref(other);
            i.peer_ = other;
            return ok;
        });
        bound::to(t.point.disconnect, [](instance& i, v3_connection_point** other) {
            if (!other || i.peer_ != other)
                return invalid_argument;
            v3_cpp_obj_unref(std::exchange(i.peer_, nullptr));
            return ok;
        });
        bound::to(t.point.notify, [](instance&, v3_message**) { return ok; });
        return t;
    }
};

instance::instance(const module_class& what, role as)
    : role_(as)
    , effect_(what.create(what.about))
{
    static const v3_component_cpp component_table = calls::component();
    static const v3_audio_processor_cpp processor_table = calls::processor();
    static const v3_edit_controller_cpp controller_table = calls::controller();
    static const v3_connection_point_cpp connection_table = calls::connection();
    component_ = {&component_table, this};
    processor_ = {&processor_table, this};
    controller_ = {&controller_table, this};
    connection_ = {&connection_table, this};
    for (const int32_t direction : {V3_INPUT, V3_OUTPUT})
        for (const bus& b : buses(direction))
            arrangements_[direction].push_back(usual_arrangement(b.channels));
}

} // namespace bare::vst3
