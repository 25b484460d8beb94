#pragma once
// One VST 3 object of a class: component and processor, and the controller with them so that host and effect
// share the parameter values; where the class wants a separate controller, that is a second object with an
// effect of its own that only keeps parameters. Counts its references and deletes itself with the last.

#include "effects/bare/effect.h"
#include "effects/bare/vst3_api.h"

#include <mutex>

namespace bare::vst3 {

enum class role { component, controller };

class instance final : public host {
public:
    // Starts with one reference.
    instance(const module_class& what, role as);

    v3_result query(const v3_tuid iid, void** object);
    uint32_t add_reference() { return ++references_; }
    uint32_t release();

    void latency_changed() override { want_restart(V3_RESTART_LATENCY_CHANGED); }
    void layout_changed() override { want_restart(V3_RESTART_IO_CHANGED); }
    void reload_wanted() override { want_restart(V3_RESTART_RELOAD_COMPONENT); }
    void edited(std::size_t parameter, double normalised) override;

    // By hand, in the view.
    void begin_edit(std::size_t parameter);
    void edit(std::size_t parameter, double normalised); // sets the value too
    void end_edit(std::size_t parameter);

private:
    struct calls; // the functions in the tables
    friend struct calls;
    ~instance();

    const description& about() const { return effect_->about(); }
    const std::vector<bus>& buses(int32_t direction) const
    {
        return direction == V3_INPUT ? about().inputs : about().outputs;
    }
    const parameter* find(v3_param_id id) const
    {
        return id < about().parameters.size() ? &about().parameters[id] : nullptr;
    }
    v3_result bus_info(int32_t media, int32_t direction, int32_t index, v3_bus_info* info) const;
    v3_result set_arrangements(const v3_speaker_arrangement* in, int32_t ins,
                               const v3_speaker_arrangement* out, int32_t outs);
    v3_result parameter_info(int32_t index, v3_param_info* info) const;
    v3_result to_text(v3_param_id id, double normalised, int16_t* text) const;
    v3_result from_text(v3_param_id id, const int16_t* text, double* normalised) const;
    bool takes(int32_t sample_size) const
    {
        return sample_size == V3_SAMPLE_32 || (sample_size == V3_SAMPLE_64 && about().processes_double);
    }
    bool is_controller() const
    {
        return role_ == role::controller || about().controller == controller_kind::in_component;
    }
    void set_handler(v3_component_handler** handler);
    v3_component_handler** borrow_handler();
    template <class Call>
    void call_handler(Call call);
    void want_restart(int32_t flags);
    void report(std::size_t parameter, double normalised);
    v3_plugin_view** make_view();
    void take_changes(v3_param_changes** changes);
    void report_meter(v3_param_changes** changes);
    v3_result process(v3_process_data& data);
    template <class Sample>
    bool process_block(v3_process_data& data);
    v3_result load(v3_bstream** stream);
    v3_result save(v3_bstream** stream);
    void set_active(bool active);

    face<v3_component_cpp, instance> component_;
    face<v3_audio_processor_cpp, instance> processor_;
    face<v3_edit_controller_cpp, instance> controller_;
    face<v3_connection_point_cpp, instance> connection_;
    const role role_;
    std::atomic<uint32_t> references_{1};
    std::unique_ptr<effect> effect_;
    std::vector<v3_speaker_arrangement> arrangements_[2]; // by direction, one a bus
    v3_process_setup setup_{V3_REALTIME, V3_SAMPLE_32, 1024, 44100.0};
    bool active_ = false;
    std::mutex handler_mutex_; // effects may call their host from any thread
    v3_component_handler** handler_ = nullptr;
    v3_connection_point** peer_ = nullptr;
};

} // namespace bare::vst3
