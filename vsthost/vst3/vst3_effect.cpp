// Life, state and what the effect asks for; set-up and processing are in vst3_process.cpp.

#include "vsthost/vst3/vst3_effect.h"

#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"

#include <algorithm>
#include <utility>

namespace vsthost::v3 {

namespace {

constexpr size_t usual_edits = 4096; // kept between two blocks; more of an effect with more parameters
constexpr int32_t most_parameters = 16384;

} // namespace

vst3_effect::vst3_effect(const std::string& path, const effect_options& options)
    : module_(path)
    , options_(options)
{
    edits_.reserve(usual_edits);
    outputs_changed_.reserve(usual_edits);
    // With several effects inside, the state says which one is meant.
    if (module_.classes().size() == 1)
        create();
}

vst3_effect::~vst3_effect()
{
    destroy();
}

effect_info vst3_effect::info() const
{
    const effect_class& about = module_.classes()[class_];
    return {about.name, about.vendor, "VST 3", is_double_, module_.file().path()};
}

std::vector<class_info> vst3_effect::classes() const
{
    std::vector<class_info> result;
    for (const effect_class& each : module_.classes())
        result.push_back({each.name, each.vendor, class_id_text(each.id)});
    return result;
}

std::vector<bus_info> vst3_effect::buses() const
{
    std::vector<bus_info> result;
    for (const bus_side* const side : {&inputs_, &outputs_})
        for (const audio_bus& bus : side->buses()) {
            channel_layout layout = from_arrangement(bus.arrangement);
            layout.channels = bus.channels;
            result.push_back({bus.name, side == &inputs_, bus.main, layout});
        }
    return result;
}

void vst3_effect::create()
{
    const effect_class& about = module_.classes()[class_];
    const auto refuse = [&](const std::string& why) {
        destroy();
        throw fatal_error(exit_code::effect_failed, "\"" + about.name + "\" in \"" + module_.file().path() +
                                                        "\" cannot be used: " + why);
    };
    {
        const watched_call watched("being created", call_kind::load);
        component_ = module_.create<v3_component>(about.id, v3_component_iid);
        if (!component_)
            refuse("the module does not create it");
        if (v3_cpp_obj_initialize(component_.get(), host_application()) != ok) {
            component_.reset(); // was never started, so there is nothing to end
            refuse("it does not start");
        }
        // Asked only now: some components have their interfaces after the start.
        processor_ = component_.query<v3_audio_processor>(v3_audio_processor_iid);
        if (!processor_)
            refuse("it is no audio effect");
        create_controller();
    }
    size_t parameters = 16;
    if (controller_) {
        const int32_t count = controller_->get_parameter_count(controller_.get());
        if (count > 0)
            parameters += static_cast<size_t>(std::min(count, most_parameters));
    }
    input_changes_.allocate(parameters);
    output_changes_.allocate(parameters);
    {
        const std::lock_guard lock(edits_mutex_);
        edits_.reserve(parameters);
        outputs_changed_.reserve(parameters);
    }
    read_buses({});
    module_default_ = own_layout();
    has_state_ = false;
    last_component_.clear();
}

void vst3_effect::create_controller()
{
    controller_ = component_.query<v3_edit_controller>(v3_edit_controller_iid);
    controller_is_separate_ = false;
    if (!controller_) {
        class_id id{};
        if (component_->get_controller_class_id(component_.get(), id.data()) != ok)
            return; // runs without
        controller_ = module_.create<v3_edit_controller>(id, v3_edit_controller_iid);
        if (!controller_)
            return;
        if (v3_cpp_obj_initialize(controller_.get(), host_application()) != ok) {
            controller_.reset();
            return;
        }
        controller_is_separate_ = true;
    }
    handler_ = new component_handler(*this);
    controller_->set_component_handler(controller_.get(), handler_->get());
    if (!controller_is_separate_)
        return;
    connect();
    memory_stream written;
    if (component_->get_state(component_.get(), written.get()) == ok) {
        memory_stream current(written.bytes());
        controller_->set_component_state(controller_.get(), current.get());
    }
}

void vst3_effect::connect()
{
    component_point_ = component_.query<v3_connection_point>(v3_connection_point_iid);
    controller_point_ = controller_.query<v3_connection_point>(v3_connection_point_iid);
    if (!component_point_ || !controller_point_) {
        component_point_.reset();
        controller_point_.reset();
        return;
    }
    to_component_ = new connection_proxy(component_point_.get());
    to_controller_ = new connection_proxy(controller_point_.get());
    component_point_->connect(component_point_.get(), to_controller_->get());
    controller_point_->connect(controller_point_.get(), to_component_->get());
}

void vst3_effect::destroy() noexcept
{
    const watched_call watched("being ended");
    stop();
    if (to_component_ != nullptr) {
        component_point_->disconnect(component_point_.get(), to_controller_->get());
        controller_point_->disconnect(controller_point_.get(), to_component_->get());
        for (connection_proxy** const proxy : {&to_component_, &to_controller_}) {
            (*proxy)->detach();
            (*proxy)->release();
            *proxy = nullptr;
        }
    }
    component_point_.reset();
    controller_point_.reset();
    if (controller_) {
        controller_->set_component_handler(controller_.get(), nullptr);
        if (controller_is_separate_)
            v3_cpp_obj_terminate(controller_.get());
        controller_.reset();
    }
    if (handler_ != nullptr) {
        handler_->detach();
        handler_->release();
        handler_ = nullptr;
    }
    processor_.reset();
    if (component_) {
        v3_cpp_obj_terminate(component_.get());
        component_.reset();
    }
}

void vst3_effect::need_instance()
{
    if (!component_)
        create();
}

void vst3_effect::rebuild()
{
    destroy();
    create();
    if (request_)
        prepare(request_->rate, bus_pair(request_->wanted));
}

void vst3_effect::set_state(std::span<const uint8_t> image)
{
    const auto refuse = [&](std::string_view why) {
        report("the effect's state cannot be used: " + std::string(why) + "; it starts with its defaults");
        if (has_state_)
            rebuild();
        need_instance();
    };
    if (image.empty()) {
        const bool another = class_ != 0;
        class_ = 0;
        if (has_state_ || (another && component_))
            rebuild();
        need_instance();
        return;
    }
    const preset_result read = read_vstpreset(image);
    if (!read.preset)
        return refuse(read.problem);
    const auto wanted = module_.find(read.preset->id);
    if (!wanted)
        return refuse("it belongs to another effect");
    if (*wanted != class_ && component_) {
        class_ = *wanted;
        rebuild();
    }
    class_ = *wanted;
    need_instance();
    has_state_ = true; // also after a failure: who knows what was taken over
    if (!apply(*read.preset))
        refuse("the effect does not accept it");
}

bool vst3_effect::apply(const vst_preset& preset)
{
    const watched_call watched("taking its state");
    memory_stream component_state(preset.component);
    const v3_result result = component_->set_state(component_.get(), component_state.get());
    // Effects that keep nothing may refuse to take nothing.
    if (result != ok && result != not_implemented && !preset.component.empty())
        return false;
    last_component_.assign(preset.component.begin(), preset.component.end());
    if (!controller_)
        return true;
    if (controller_is_separate_) {
        memory_stream for_controller(preset.component);
        controller_->set_component_state(controller_.get(), for_controller.get());
    }
    if (preset.controller && controller_is_separate_) {
        memory_stream own(*preset.controller);
        controller_->set_state(controller_.get(), own.get());
    }
    return true;
}

std::vector<uint8_t> vst3_effect::state()
{
    need_instance();
    const watched_call watched("giving its state");
    flush_edits(); // or the component does not know them yet
    memory_stream component_state;
    const v3_result result = component_->get_state(component_.get(), component_state.get());
    memory_stream controller_state;
    vst_preset preset;
    preset.id = module_.classes()[class_].id;
    preset.component = component_state.bytes();
    if (result != ok && preset.component.empty() && !last_component_.empty()) {
        // Whoever stores this would lose what was kept before.
        preset.component = last_component_;
        if (!std::exchange(says_no_state_, true))
            report("the effect does not give its state; the one it had before is kept");
    } else {
        last_component_.assign(preset.component.begin(), preset.component.end());
        says_no_state_ = false;
    }
    // A single component's controller state is the component's.
    if (controller_ && controller_is_separate_ &&
        controller_->get_state(controller_.get(), controller_state.get()) == ok &&
        !controller_state.bytes().empty())
        preset.controller = controller_state.bytes();
    return write_vstpreset(preset);
}

void vst3_effect::attend()
{
    deliver_output_changes();
    const int32_t flags = restart_.exchange(0);
    if (flags == 0 || !component_)
        return;
    if ((flags & V3_RESTART_PARAM_VALUES_CHANGED) != 0)
        edited_ = true;
    if ((flags & V3_RESTART_RELOAD_COMPONENT) != 0) {
        const std::vector<uint8_t> kept = state();
        rebuild();
        set_state(kept);
        restart_ &= ~V3_RESTART_RELOAD_COMPONENT; // or one that says so in there is made anew for ever
    } else if ((flags & V3_RESTART_IO_CHANGED) != 0 && request_) {
        const request again = *request_;
        request_.reset();
        prepare(again.rate, again.wanted);
    } else if ((flags & V3_RESTART_LATENCY_CHANGED) != 0 && active_) {
        const watched_call watched("changing its latency");
        stop();
        start();
    }
}

void vst3_effect::deliver_output_changes()
{
    std::vector<edit> changed;
    {
        const std::lock_guard lock(edits_mutex_);
        if (outputs_changed_.empty())
            return;
        changed = outputs_changed_;
        outputs_changed_.clear();
    }
    if (!controller_)
        return;
    const watched_call watched("showing its meters");
    for (const edit& change : changed)
        controller_->set_parameter_normalised(controller_.get(), change.id, change.value);
}

void vst3_effect::edited(v3_param_id id, double value) noexcept
{
    {
        const std::lock_guard lock(edits_mutex_);
        // Nobody took them for long: of a parameter that is in there the newest value counts.
        if (edits_.size() < edits_.capacity())
            edits_.push_back({id, value});
        else if (const auto last = std::find_if(edits_.rbegin(), edits_.rend(),
                                                [id](const edit& each) { return each.id == id; });
                 last != edits_.rend())
            last->value = value;
    }
    dirty();
}

void vst3_effect::dirty() noexcept
{
    edited_ = true;
    if (void* const event = wake_)
        SetEvent(event);
}

void vst3_effect::restart_wanted(int32_t flags) noexcept
{
    restart_ |= flags;
    if (void* const event = wake_)
        SetEvent(event);
}

} // namespace vsthost::v3

std::unique_ptr<vsthost::effect> vsthost::load_vst3(const std::string& path, const effect_options& options)
{
    return std::make_unique<v3::vst3_effect>(path, options);
}
