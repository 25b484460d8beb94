#include "effects/plugin_driver.h"

#include "effects/bare/vst2_api.h"

#include <doctest/doctest.h>
#include <windows.h>

#include <cstring>

namespace {

using namespace bare::vst2;

double current_rate = 44100;
int current_block = 512;

plugin_driver* editing = nullptr; // whose editor is open

intptr_t VST_FUNCTION_INTERFACE answer(vst_effect* effect, int32_t opcode, int32_t index, intptr_t value,
                                       void*, float)
{
    switch (opcode) {
    case host_automate:
        if (editing) // the framework's modules pass a wrong value
            editing->edits.push_back(
                {static_cast<unsigned>(index),
                 static_cast<double>(effect->get_parameter(effect, static_cast<uint32_t>(index)))});
        return 0;
    case host_begin_edit:
    case host_end_edit:
        if (editing)
            editing->open_edits += opcode == host_begin_edit ? 1 : -1;
        return 1;
    case host_size_window:
        if (editing)
            editing->wanted_sizes.push_back({index, static_cast<int>(value)});
        return 1;
    case host_version:
        return 2400;
    case 16:
        return static_cast<intptr_t>(current_rate);
    case 17:
        return current_block;
    default:
        return 0;
    }
}

class vst2_driver final : public plugin_driver {
public:
    explicit vst2_driver(const std::wstring& path)
        : module_(LoadLibraryW(path.c_str()))
    {
        REQUIRE(module_);
        void* const entry = reinterpret_cast<void*>(GetProcAddress(module_, "VSTPluginMain"));
        REQUIRE(entry);
        CHECK(reinterpret_cast<void*>(GetProcAddress(module_, "main")) == entry);
        effect_ = reinterpret_cast<vst_effect* (*)(host_callback)>(entry)(answer);
        REQUIRE(effect_);
        REQUIRE(effect_->magic_number == magic);
        call(op_open);
    }
    ~vst2_driver() override
    {
        if (effect_) {
            close_editor();
            stop();
            call(op_close);
        }
        FreeLibrary(module_);
    }

    std::string name() override
    {
        char text[256] = "";
        call(op_effect_name, 0, 0, text);
        return text;
    }
    bool set_channels(int count) override
    {
        speaker_arrangement in{}, out{};
        in.type = out.type = -2;
        in.channels = out.channels = count;
        return call(op_set_speaker_arrangement, 0, reinterpret_cast<intptr_t>(&in), &out) != 0;
    }
    int channels() override
    {
        CHECK(effect_->num_inputs == effect_->num_outputs);
        return effect_->num_inputs;
    }
    bool can_double() override { return (effect_->flags & flag_double) != 0; }
    void start(double rate, int max_frames, bool use_double) override
    {
        stop();
        REQUIRE((!use_double || can_double()));
        current_rate = rate;
        current_block = max_frames;
        call(op_set_sample_rate, 0, 0, nullptr, static_cast<float>(rate));
        call(op_set_block_size, 0, max_frames);
        call(op_mains_changed, 0, 1);
        running_ = true;
    }
    void stop() override
    {
        if (running_)
            call(op_mains_changed, 0, 0);
        running_ = false;
    }
    uint32_t latency() override { return static_cast<uint32_t>(effect_->delay); }
    void set_parameter(unsigned index, double normalised) override
    {
        effect_->set_parameter(effect_, index, static_cast<float>(normalised));
    }
    double parameter(unsigned index) override
    {
        return static_cast<double>(effect_->get_parameter(effect_, index));
    }
    void process(std::vector<const float*>& in, std::vector<float*>& out, int frames) override
    {
        effect_->process_float(effect_, in.data(), out.data(), frames);
    }
    void process(std::vector<const double*>& in, std::vector<double*>& out, int frames) override
    {
        effect_->process_double(effect_, in.data(), out.data(), frames);
    }
    // All parameters as floats: the sample effects keep no chunk.
    bytes save() override
    {
        bytes state;
        for (int i = 0; i < effect_->num_params; ++i) {
            const float value = effect_->get_parameter(effect_, static_cast<uint32_t>(i));
            const auto* const first = reinterpret_cast<const std::byte*>(&value);
            state.insert(state.end(), first, first + sizeof(value));
        }
        return state;
    }
    void load(const bytes& state) override
    {
        REQUIRE(state.size() == static_cast<std::size_t>(effect_->num_params) * sizeof(float));
        for (std::size_t i = 0; i < state.size() / sizeof(float); ++i) {
            float value = 0;
            std::memcpy(&value, state.data() + i * sizeof(float), sizeof(float));
            effect_->set_parameter(effect_, static_cast<uint32_t>(i), value);
        }
    }

    size open_editor(void* parent) override
    {
        if ((effect_->flags & flag_editor) == 0)
            return {};
        editing = this;
        CHECK(call(op_editor_open, 0, 0, parent) == 1);
        return editor_size();
    }
    void close_editor() override
    {
        if (editing == this)
            call(op_editor_close);
        editing = nullptr;
    }
    size editor_size() override
    {
        rect* area = nullptr;
        REQUIRE(call(op_editor_rect, 0, 0, &area) == 1);
        REQUIRE(area);
        return {area->right - area->left, area->bottom - area->top};
    }
    bool resize_editor(size) override { return false; }

private:
    intptr_t call(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr, float opt = 0)
    {
        return effect_->control(effect_, static_cast<VST_EFFECT_OPCODE>(opcode), index, value, ptr, opt);
    }

    HMODULE module_;
    vst_effect* effect_ = nullptr;
    bool running_ = false;
};

} // namespace

std::unique_ptr<plugin_driver> open_vst2(const std::wstring& path)
{
    return std::make_unique<vst2_driver>(path);
}
