// The VST 2 side of a module. With several classes it is a shell: asked for none of them by the host's
// current id, it is an instance of the first that lists them all.

#include "effects/bare/effect.h"
#include "effects/bare/vst2_api.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <utility>

namespace bare::vst2 {

namespace {

int total(const std::vector<bus>& buses)
{
    return std::accumulate(buses.begin(), buses.end(), 0,
                           [](int sum, const bus& b) { return sum + b.channels; });
}

// Arrangement types: -2 is a list of speakers without a name of its own.
int32_t arrangement_type(int channels)
{
    switch (channels) {
    case 1:
        return 0;
    case 2:
        return 1;
    default:
        return -2;
    }
}

void copy_text(void* to, std::size_t size, const char* text)
{
    if (to)
        std::snprintf(static_cast<char*>(to), size, "%s", text);
}

enum category : intptr_t { category_effect = 1, category_synth = 2, category_shell = 10 };

// Owns itself from VSTPluginMain until the host closes it.
class instance final : public host, public editor_host {
public:
    instance(const module_class& what, bool is_shell, host_callback callback)
        : effect_(what.create(what.about))
        , callback_(callback)
        , is_shell_(is_shell)
    {
        const description& about = what.about;
        table_.magic_number = magic;
        table_.control = [](vst_effect* self, VST_EFFECT_OPCODE opcode, int32_t index, intptr_t value,
                            void* ptr, float opt) {
            return of(self)->control(static_cast<int32_t>(opcode), index, value, ptr, opt);
        };
        table_.process = accumulate;
        table_.process_float = replace<float>;
        table_.process_double = about.processes_double ? replace<double> : nullptr;
        table_.set_parameter = [](vst_effect* self, uint32_t index, float value) {
            of(self)->set_parameter(index, value);
        };
        table_.get_parameter = [](vst_effect* self, uint32_t index) {
            return of(self)->get_parameter(index);
        };
        table_.num_programs = 1;
        table_.num_params = static_cast<int32_t>(about.parameters.size());
        table_.num_inputs = total(about.inputs);
        table_.num_outputs = total(about.outputs);
        table_.flags = flag_replacing | (about.processes_double ? flag_double : 0) |
                       (about.keeps_chunk ? flag_chunks : 0) | (about.instrument ? flag_synth : 0) |
                       (about.has_editor ? flag_editor : 0);
        table_._unknown_float_00 = 1.0f;
        table_.effect_internal = this;
        table_.unique_id = static_cast<int32_t>(about.unique_id);
        table_.version = 1000;
        table_.delay = static_cast<int32_t>(effect_->latency());
    }

    vst_effect* table() { return &table_; }

    void latency_changed() override
    {
        table_.delay = static_cast<int32_t>(effect_->latency());
        callback_(&table_, host_io_changed, 0, 0, nullptr, 0.0f);
    }
    void edited(std::size_t parameter, double normalised) override
    {
        callback_(&table_, host_automate, static_cast<int32_t>(parameter), 0, nullptr,
                  static_cast<float>(normalised));
    }
    void idle_wanted() override { callback_(&table_, host_need_idle, 0, 0, nullptr, 0.0f); }

    void begin_edit(std::size_t parameter) override
    {
        callback_(&table_, host_begin_edit, static_cast<int32_t>(parameter), 0, nullptr, 0.0f);
    }
    void end_edit(std::size_t parameter) override
    {
        callback_(&table_, host_end_edit, static_cast<int32_t>(parameter), 0, nullptr, 0.0f);
    }
    bool resize(view_size wanted) override
    {
        return callback_(&table_, host_size_window, wanted.width, wanted.height, nullptr, 0.0f) != 0;
    }
    void edit(std::size_t parameter, double normalised) override
    {
        effect_->set_value(parameter, about().parameters[parameter].to_plain(normalised));
        edited(parameter, normalised);
    }

private:
    static instance* of(vst_effect* self) { return static_cast<instance*>(self->effect_internal); }

    const description& about() const { return effect_->about(); }
    bool has_parameter(int64_t index) const
    {
        return index >= 0 && index < static_cast<int64_t>(about().parameters.size());
    }
    void set_parameter(uint32_t index, float value)
    {
        if (has_parameter(index))
            effect_->set_value(index, about().parameters[index].to_plain(static_cast<double>(value)));
    }
    float get_parameter(uint32_t index)
    {
        if (!has_parameter(index))
            return 0.0f;
        return static_cast<float>(about().parameters[index].to_normalised(effect_->value(index)));
    }

    template <class Sample>
    static void VST_FUNCTION_INTERFACE replace(vst_effect* self, const Sample* const* inputs,
                                               Sample** outputs, int32_t frames)
    {
        if (frames <= 0)
            return;
        of(self)->effect_->process(block<Sample>{{inputs, static_cast<std::size_t>(self->num_inputs)},
                                                 {outputs, static_cast<std::size_t>(self->num_outputs)},
                                                 static_cast<std::size_t>(frames)});
    }

    // What hosts without replacing call: adds to the output.
    static void VST_FUNCTION_INTERFACE accumulate(vst_effect* self, const float* const* inputs,
                                                  float** outputs, int32_t frames)
    {
        if (frames <= 0)
            return;
        const auto channels = static_cast<std::size_t>(self->num_outputs);
        const auto count = static_cast<std::size_t>(frames);
        std::vector<float> own(channels * count);
        std::vector<float*> pointers(channels);
        for (std::size_t c = 0; c < channels; ++c)
            pointers[c] = own.data() + c * count;
        replace<float>(self, inputs, pointers.data(), frames);
        for (std::size_t c = 0; c < channels; ++c)
            std::transform(pointers[c], pointers[c] + count, outputs[c], outputs[c], std::plus<>());
    }

    intptr_t control(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
    intptr_t parameter_text(int32_t opcode, int32_t index, void* ptr);
    intptr_t set_arrangement(const speaker_arrangement* in, const speaker_arrangement* out);
    intptr_t get_arrangement(speaker_arrangement** in, speaker_arrangement** out);
    void mains(bool on);
    intptr_t next_in_shell(void* name);
    // The editor, made at the first question about it; null without one.
    editor* shown();
    intptr_t control_editor(int32_t opcode, void* ptr);
    intptr_t tell(int32_t opcode, int32_t index, void* ptr);

    vst_effect table_{};
    std::unique_ptr<effect> effect_;
    host_callback callback_;
    double rate_ = 44100;
    int32_t block_size_ = 1024;
    bool running_ = false;
    bool is_shell_ = false;
    std::size_t listed_ = 0;       // of the shell's classes
    std::vector<std::byte> chunk_; // what the host was last given; it may read it until it asks again
    speaker_arrangement reported_[2]{};
    std::unique_ptr<editor> editor_;
    bool editor_is_open_ = false;
    rect editor_rect_{}; // what the host was last given
};

void instance::mains(bool on)
{
    if (on == running_)
        return;
    running_ = on;
    if (on) {
        effect_->prepare(rate_, block_size_);
        effect_->start();
        table_.delay = static_cast<int32_t>(effect_->latency());
    } else {
        effect_->stop();
    }
}

intptr_t instance::parameter_text(int32_t opcode, int32_t index, void* ptr)
{
    if (!ptr || !has_parameter(index))
        return 0;
    const auto position = static_cast<std::size_t>(index);
    char display[16];
    std::snprintf(display, sizeof(display), "%.2f", effect_->value(position));
    const parameter& what = about().parameters[position];
    copy_text(ptr, 8,
              opcode == op_parameter_label     ? what.unit
              : opcode == op_parameter_display ? display
                                               : what.name);
    return 1;
}

intptr_t instance::set_arrangement(const speaker_arrangement* in, const speaker_arrangement* out)
{
    const int wanted_in = in ? in->channels : 0, wanted_out = out ? out->channels : 0;
    const bool one_bus = about().inputs.size() <= 1 && about().outputs.size() <= 1;
    if (!one_bus || running_ || wanted_in < 0 || wanted_out < 0)
        return 0;
    const std::size_t ins = about().inputs.size(), outs = about().outputs.size();
    if (!effect_->set_layout({&wanted_in, ins}, {&wanted_out, outs}))
        return 0;
    table_.num_inputs = wanted_in;
    table_.num_outputs = wanted_out;
    return 1;
}

intptr_t instance::get_arrangement(speaker_arrangement** in, speaker_arrangement** out)
{
    if (!in || !out)
        return 0;
    reported_[0] = {
        .type = arrangement_type(table_.num_inputs), .channels = table_.num_inputs, .speakers = {}};
    reported_[1] = {
        .type = arrangement_type(table_.num_outputs), .channels = table_.num_outputs, .speakers = {}};
    *in = &reported_[0];
    *out = &reported_[1];
    return 1;
}

intptr_t instance::next_in_shell(void* name)
{
    const auto classes = module_classes();
    if (listed_ >= classes.size()) {
        listed_ = 0;
        return 0;
    }
    const description& next = classes[listed_++].about;
    copy_text(name, 64, next.name);
    return static_cast<intptr_t>(next.unique_id);
}

editor* instance::shown()
{
    if (!editor_ && about().has_editor)
        editor_ = effect_->make_editor();
    return editor_.get();
}

intptr_t instance::control_editor(int32_t opcode, void* ptr)
{
    if (!shown())
        return 0;
    switch (opcode) {
    case op_editor_rect: {
        if (!ptr)
            return 0;
        const view_size size = editor_->size();
        editor_rect_ = {0, 0, static_cast<int16_t>(size.height), static_cast<int16_t>(size.width)};
        *static_cast<rect**>(ptr) = &editor_rect_;
        return 1;
    }
    case op_editor_open:
        if (!editor_is_open_ && ptr)
            editor_is_open_ = editor_->open(ptr, *this);
        return editor_is_open_ ? 1 : 0;
    case op_editor_close:
        if (std::exchange(editor_is_open_, false))
            editor_->close();
        return 0;
    default:
        editor_->idle();
        return 0;
    }
}

// What a host asks about the effect.
intptr_t instance::tell(int32_t opcode, int32_t index, void* ptr)
{
    switch (opcode) {
    case op_can_be_automated:
        return has_parameter(index) ? 1 : 0;
    case op_get_category:
        return is_shell_ ? category_shell : about().instrument ? category_synth : category_effect;
    case op_effect_name:
    case op_product:
        copy_text(ptr, 32, about().name);
        return 1;
    case op_vendor:
        copy_text(ptr, 64, "qvx");
        return 1;
    case op_vendor_version:
        return 1000;
    case op_tail: {
        const uint32_t tail = effect_->tail(); // here 0 is "unknown" and 1 is "none"
        return tail == 0 ? 1 : static_cast<intptr_t>(std::min<uint32_t>(tail, 0x7FFFFFFF));
    }
    case op_next_in_shell:
        return is_shell_ ? next_in_shell(ptr) : 0;
    case op_vst_version:
        return 2400;
    default:
        return 0;
    }
}

intptr_t instance::control(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt)
{
    switch (opcode) {
    case op_open:
        return effect_->open(*this) ? 0 : -1;
    case op_close:
        if (editor_is_open_)
            editor_->close();
        editor_.reset();
        mains(false);
        delete this;
        return 1;
    case op_get_program_name:
        copy_text(ptr, 24, "Default");
        return 0;
    case op_parameter_label:
    case op_parameter_display:
    case op_parameter_name:
        return parameter_text(opcode, index, ptr);
    case op_set_sample_rate:
        rate_ = static_cast<double>(opt);
        return 0;
    case op_set_block_size:
        block_size_ = static_cast<int32_t>(value);
        return 0;
    case op_mains_changed:
        mains(value != 0);
        return 0;
    case op_editor_rect:
    case op_editor_open:
    case op_editor_close:
    case op_editor_idle:
        return control_editor(opcode, ptr);
    case op_editor_key_down:
        return editor_is_open_ && editor_->key_down(index, static_cast<int>(value)) ? 1 : 0;
    case op_idle:
        return effect_->idle() ? 1 : 0;
    case op_get_chunk:
        if (!ptr || !about().keeps_chunk)
            return 0;
        chunk_ = effect_->save();
        *static_cast<void**>(ptr) = chunk_.data();
        return static_cast<intptr_t>(chunk_.size());
    case op_set_chunk:
        if (!about().keeps_chunk || value < 0 || (!ptr && value != 0))
            return 0;
        return effect_->load({static_cast<const std::byte*>(ptr), static_cast<std::size_t>(value)}) ? 1 : 0;
    case op_set_speaker_arrangement: // value and ptr are the addresses of the two
        return set_arrangement(reinterpret_cast<const speaker_arrangement*>(value),
                               static_cast<const speaker_arrangement*>(ptr));
    case op_get_speaker_arrangement:
        return get_arrangement(reinterpret_cast<speaker_arrangement**>(value),
                               static_cast<speaker_arrangement**>(ptr));
    default:
        return tell(opcode, index, ptr);
    }
}

} // namespace

} // namespace bare::vst2

extern "C" vst_effect* VSTPluginMain(bare::vst2::host_callback callback)
{
    const auto classes = bare::module_classes();
    if (!callback || classes.empty() || callback(nullptr, bare::vst2::host_version, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    if (std::strcmp(classes.front().about.category, "Audio Module Class") != 0)
        return nullptr;
    const auto wanted =
        static_cast<uint32_t>(callback(nullptr, bare::vst2::host_current_id, 0, 0, nullptr, 0.0f));
    const auto found = std::ranges::find(classes, wanted, [](const auto& c) { return c.about.unique_id; });
    const bool is_shell = classes.size() > 1 && found == classes.end();
    const auto& what = found == classes.end() ? classes.front() : *found;
    return (new bare::vst2::instance(what, is_shell, callback))->table();
}
