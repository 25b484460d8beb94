// Set-up and processing of a VST 3 effect; see vst3_effect.cpp for its life.

#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"
#include "vsthost/vst3/vst3_effect.h"

#include <algorithm>
#include <cmath>

namespace vsthost::v3 {

namespace {

constexpr double tempo = 120.0; // quarter notes a minute
constexpr double quarters_per_bar = 4.0;
constexpr size_t flush_frames = 64;
constexpr double edit_tolerance = 1e-6;

} // namespace

void vst3_effect::negotiate_sample_size()
{
    const int32_t wanted = options_.float64 ? V3_SAMPLE_64 : V3_SAMPLE_32;
    const int32_t other = options_.float64 ? V3_SAMPLE_32 : V3_SAMPLE_64;
    int32_t size = wanted;
    if (processor_->can_process_sample_size(processor_.get(), wanted) != ok) {
        size = other;
        if (processor_->can_process_sample_size(processor_.get(), other) != ok)
            throw fatal_error(exit_code::effect_failed, "\"" + module_.classes()[class_].name +
                                                            "\" processes neither 32-bit nor 64-bit samples");
    }
    is_double_ = size == V3_SAMPLE_64;
}

bus_pair vst3_effect::own_layout() const
{
    return {inputs_.main_layout(), outputs_.main_layout()};
}

void vst3_effect::read_buses(const bus_pair& wanted)
{
    inputs_.read(component_, processor_, V3_INPUT, wanted.in.channels);
    outputs_.read(component_, processor_, V3_OUTPUT, wanted.out.channels);
}

bool vst3_effect::offer_layout(const bus_pair& pair)
{
    std::vector<uint64_t> in = inputs_.arrangements_with(pair.in);
    std::vector<uint64_t> out = outputs_.arrangements_with(pair.out);
    const bool taken = processor_->set_bus_arrangements(processor_.get(), in.data(), inputs_.count(),
                                                        out.data(), outputs_.count()) == ok;
    // A refusal may still have moved the module to something else.
    read_buses(request_ ? request_->wanted : bus_pair());
    return taken;
}

bus_pair vst3_effect::negotiate_layout(const bus_pair& wanted)
{
    std::optional<bus_pair> best;
    int best_fit = -1;
    for (const bus_pair& candidate : arrangement_ladder(wanted, module_default_)) {
        offer_layout(candidate);
        const bus_pair got = own_layout();
        const int fits = fit(wanted, got);
        if (fits == 3)
            return got;
        if (fits > best_fit) {
            best_fit = fits;
            best = got;
        }
    }
    if (best && best_fit > 0 && !(own_layout() == *best))
        offer_layout(*best);
    else if (best_fit <= 0)
        offer_layout(module_default_);
    return own_layout();
}

bus_pair vst3_effect::prepare(uint32_t rate, const bus_pair& wanted)
{
    need_instance();
    if (active_ && request_ && request_->rate == rate && request_->wanted == wanted)
        return own_;
    const watched_call watched("being set up");
    stop();
    request_ = request{rate, wanted};
    negotiate_sample_size();
    v3_process_setup setup{};
    setup.process_mode = options_.realtime ? V3_REALTIME : V3_OFFLINE;
    setup.symbolic_sample_size = is_double_ ? V3_SAMPLE_64 : V3_SAMPLE_32;
    setup.max_block_size = static_cast<int32_t>(announced_block_size);
    setup.sample_rate = rate;
    const v3_result result = processor_->setup_processing(processor_.get(), &setup);
    if (result != ok && result != not_implemented)
        report("the effect does not like " + std::to_string(rate) + " Hz; it is used all the same");
    own_ = negotiate_layout(wanted);
    inputs_.activate(component_, V3_INPUT);
    outputs_.activate(component_, V3_OUTPUT);
    allocate();
    context_ = {};
    context_.sample_rate = rate;
    start();
    // Said of its buses while it was set up: they have been read. Some say so each time.
    restart_ &= ~V3_RESTART_IO_CHANGED;
    return own_;
}

void vst3_effect::allocate()
{
    io_.allocate(is_double_, own_.in.channels, 0, own_.out.channels, announced_block_size);
    inputs_.allocate(announced_block_size, is_double_ ? nullptr : io_.in32(), io_.in64());
    outputs_.allocate(announced_block_size, is_double_ ? nullptr : io_.out32(), io_.out64());
    data_ = {};
    data_.process_mode = options_.realtime ? V3_REALTIME : V3_OFFLINE;
    data_.symbolic_sample_size = is_double_ ? V3_SAMPLE_64 : V3_SAMPLE_32;
    data_.num_input_buses = inputs_.count();
    data_.num_output_buses = outputs_.count();
    data_.inputs = inputs_.buffers();
    data_.outputs = outputs_.buffers();
    data_.input_params = input_changes_.get();
    data_.output_params = output_changes_.get();
    data_.input_events = events_.get();
    data_.output_events = events_.get();
    data_.ctx = &context_;
}

void vst3_effect::start()
{
    latency_ = processor_->get_latency_samples(processor_.get());
    const v3_result result = component_->set_active(component_.get(), 1);
    if (result != ok && result != not_implemented)
        throw fatal_error(exit_code::effect_failed,
                          "\"" + module_.classes()[class_].name + "\" cannot be switched on");
    active_ = true;
    latency_ = processor_->get_latency_samples(processor_.get());
    processor_->set_processing(processor_.get(), 1); // optional for a module
    restart_ &= ~V3_RESTART_LATENCY_CHANGED;         // read just now
}

void vst3_effect::stop() noexcept
{
    if (!active_)
        return;
    active_ = false;
    processor_->set_processing(processor_.get(), 0);
    component_->set_active(component_.get(), 0);
}

void vst3_effect::reset()
{
    if (!active_)
        return;
    // The whole cycle: many effects clear their delay lines in the activation only.
    const watched_call watched("being reset");
    stop();
    start();
    context_.project_time_in_samples = 0;
}

tail_length vst3_effect::tail()
{
    if (!active_)
        return {};
    const watched_call watched("telling its tail");
    const uint32_t declared = processor_->get_tail_samples(processor_.get());
    // 0 is what a module answers that does not think of tails, so it is listened to.
    if (declared == 0 || declared == infinite_tail)
        return {true, 0};
    return {false, declared};
}

void vst3_effect::take_edits() noexcept
{
    input_changes_.clear();
    const std::unique_lock lock(edits_mutex_, std::try_to_lock);
    if (!lock || edits_.empty())
        return;
    for (const edit& change : edits_)
        if (param_queue_interface* const queue = input_changes_.add_param_data(&change.id, nullptr))
            queue->add_point(0, change.value, nullptr);
    edits_.clear();
}

void vst3_effect::flush_edits() noexcept
{
    if (!active_)
        return; // the next block takes them
    take_edits();
    if (input_changes_.get_param_count() == 0)
        return;
    output_changes_.clear();
    inputs_.begin_block(~uint64_t{0});
    outputs_.begin_block(0);
    data_.nframes = 0;
    processor_->process(processor_.get(), &data_);
    keep_output_changes();
    if (edits_were_taken())
        return;
    // A module that leaves a call without samples at once: a little silence brings them home.
    io_.clear_input(flush_frames);
    output_changes_.clear();
    inputs_.begin_block(~uint64_t{0});
    outputs_.begin_block(0);
    data_.nframes = static_cast<int32_t>(flush_frames);
    processor_->process(processor_.get(), &data_);
    keep_output_changes();
}

// Of the changes in input_changes_. Only a controller that is the component itself knows what that has.
bool vst3_effect::edits_were_taken() noexcept
{
    if (!controller_ || controller_is_separate_)
        return true;
    for (int32_t i = 0; i < input_changes_.get_param_count(); ++i) {
        param_queue_interface* const queue = input_changes_.get_param_data(i);
        int32_t offset = 0;
        double wanted = 0.0;
        if (queue->get_point(queue->get_point_count() - 1, &offset, &wanted) == ok &&
            std::abs(controller_->get_parameter_normalised(controller_.get(), queue->get_param_id()) -
                     wanted) > edit_tolerance)
            return false;
    }
    return true;
}

void vst3_effect::keep_output_changes() noexcept
{
    const int32_t count = output_changes_.get_param_count();
    if (count == 0 || !controller_)
        return;
    const std::unique_lock lock(edits_mutex_, std::try_to_lock);
    if (!lock)
        return;
    void* const event = wake_;
    if (outputs_changed_.empty() && event != nullptr)
        SetEvent(event);
    for (int32_t i = 0; i < count; ++i) {
        param_queue_interface* const queue = output_changes_.get_param_data(i);
        int32_t offset = 0;
        double value = 0.0;
        if (queue->get_point(queue->get_point_count() - 1, &offset, &value) != ok)
            continue;
        const v3_param_id id = queue->get_param_id();
        const auto known = std::ranges::find(outputs_changed_, id, &edit::id);
        if (known != outputs_changed_.end())
            known->value = value;
        else if (outputs_changed_.size() < outputs_changed_.capacity())
            outputs_changed_.push_back({id, value});
    }
}

void vst3_effect::advance(size_t frames) noexcept
{
    context_.project_time_in_samples += static_cast<int64_t>(frames);
    context_.continuous_time_in_samples += static_cast<int64_t>(frames);
}

bool vst3_effect::process_block(size_t frames) noexcept
{
    if (!active_)
        return false;
    take_edits();
    output_changes_.clear();
    inputs_.begin_block(io_.in_silence);
    outputs_.begin_block(0);
    context_.state = V3_PROCESS_CTX_PLAYING | V3_PROCESS_CTX_TEMPO_VALID | V3_PROCESS_CTX_TIME_SIG_VALID |
                     V3_PROCESS_CTX_PROJECT_TIME_VALID | V3_PROCESS_CTX_BAR_POSITION_VALID |
                     V3_PROCESS_CTX_CONT_TIME_VALID;
    context_.bpm = tempo;
    context_.time_sig_numerator = 4;
    context_.time_sig_denom = 4;
    context_.project_time_quarters =
        static_cast<double>(context_.project_time_in_samples) / context_.sample_rate * tempo / 60.0;
    context_.bar_position_quarters =
        std::floor(context_.project_time_quarters / quarters_per_bar) * quarters_per_bar;
    data_.nframes = static_cast<int32_t>(frames);
    const v3_result result = processor_->process(processor_.get(), &data_);
    io_.out_silence = outputs_.main_silence();
    keep_output_changes();
    advance(frames);
    return result == ok;
}

} // namespace vsthost::v3
