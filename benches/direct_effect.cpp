#include "benches/direct_effect.h"

#include "effects/bare/vst2_api.h"
#include "effects/bare/vst3_api.h"

#include <windows.h>

#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

void need(bool held, const char* what)
{
    if (!held)
        throw std::runtime_error(std::string("the sample effect: ") + what);
}

class module_file {
public:
    explicit module_file(const std::wstring& path)
        : handle_(LoadLibraryW(path.c_str()))
    {
        need(handle_ != nullptr, "cannot be loaded");
    }
    ~module_file() { FreeLibrary(handle_); }
    module_file(const module_file&) = delete;
    module_file& operator=(const module_file&) = delete;

    template <class Signature>
    Signature* function(const char* name) const
    {
        void* const address = reinterpret_cast<void*>(GetProcAddress(handle_, name));
        need(address != nullptr, name);
        return reinterpret_cast<Signature*>(address);
    }

private:
    HMODULE handle_;
};

intptr_t VST_FUNCTION_INTERFACE answer(vst_effect*, int32_t opcode, int32_t, intptr_t, void*, float)
{
    return opcode == bare::vst2::host_version ? 2400 : 0;
}

class vst2_direct final : public direct_effect {
public:
    explicit vst2_direct(const std::wstring& path)
        : module_(path)
        , effect_(module_.function<vst_effect*(bare::vst2::host_callback)>("VSTPluginMain")(&answer))
    {
        need(effect_ && effect_->magic_number == bare::vst2::magic, "VSTPluginMain");
        call(bare::vst2::op_open);
    }
    ~vst2_direct() override
    {
        call(bare::vst2::op_mains_changed);
        call(bare::vst2::op_close);
    }

    bool takes_doubles() const override { return (effect_->flags & bare::vst2::flag_double) != 0; }
    void start(double rate, int max_frames, bool) override
    {
        call(bare::vst2::op_mains_changed);
        call(bare::vst2::op_set_sample_rate, 0, static_cast<float>(rate));
        call(bare::vst2::op_set_block_size, max_frames);
        call(bare::vst2::op_mains_changed, 1);
    }
    void process(const double** in, double** out, int frames) override
    {
        effect_->process_double(effect_, in, out, frames);
    }
    void process(const float** in, float** out, int frames) override
    {
        effect_->process_float(effect_, in, out, frames);
    }

private:
    void call(int32_t opcode, intptr_t value = 0, float opt = 0)
    {
        effect_->control(effect_, static_cast<VST_EFFECT_OPCODE>(opcode), 0, value, nullptr, opt);
    }

    module_file module_;
    vst_effect* effect_;
};

class vst3_direct final : public direct_effect {
public:
    explicit vst3_direct(const std::wstring& path)
        : module_(path)
        , exit_(module_.function<bool()>("ExitDll"))
    {
        need(module_.function<bool()>("InitDll")(), "InitDll");
        factory_ = module_.function<v3_plugin_factory**()>("GetPluginFactory")();
        v3_class_info info{};
        need(v3_cpp_obj(factory_)->get_class_info(factory_, 0, &info) == bare::vst3::ok, "its first class");
        void* made = nullptr;
        need(v3_cpp_obj(factory_)->create_instance(factory_, info.class_id, v3_component_iid, &made) ==
                 bare::vst3::ok,
             "its component");
        component_ = static_cast<v3_component**>(made);
        need(v3_cpp_obj_initialize(component_, nullptr) == bare::vst3::ok, "initialize");
        need(v3_cpp_obj_query_interface(component_, v3_audio_processor_iid, &processor_) == bare::vst3::ok,
             "its processor");
    }
    ~vst3_direct() override
    {
        stop();
        v3_cpp_obj_terminate(component_);
        v3_cpp_obj_unref(processor_);
        v3_cpp_obj_unref(component_);
        v3_cpp_obj_unref(factory_);
        exit_();
    }

    bool takes_doubles() const override
    {
        return v3_cpp_obj(processor_)->can_process_sample_size(processor_, V3_SAMPLE_64) == bare::vst3::ok;
    }
    void start(double rate, int max_frames, bool doubles) override
    {
        stop();
        v3_process_setup setup{V3_REALTIME, doubles ? V3_SAMPLE_64 : V3_SAMPLE_32, max_frames, rate};
        need(v3_cpp_obj(processor_)->setup_processing(processor_, &setup) == bare::vst3::ok, "its set-up");
        need(v3_cpp_obj(component_)->set_active(component_, 1) == bare::vst3::ok, "its activation");
        v3_cpp_obj(processor_)->set_processing(processor_, 1);
        running_ = true;
    }
    void process(const double** in, double** out, int frames) override
    {
        v3_audio_bus_buffers from{}, to{};
        from.channel_buffers_64 = const_cast<double**>(in);
        to.channel_buffers_64 = out;
        process(from, to, V3_SAMPLE_64, frames);
    }
    void process(const float** in, float** out, int frames) override
    {
        v3_audio_bus_buffers from{}, to{};
        from.channel_buffers_32 = const_cast<float**>(in);
        to.channel_buffers_32 = out;
        process(from, to, V3_SAMPLE_32, frames);
    }

private:
    void process(v3_audio_bus_buffers& from, v3_audio_bus_buffers& to, int sample_size, int frames)
    {
        from.num_channels = to.num_channels = 2;
        v3_process_data data{};
        data.process_mode = V3_REALTIME;
        data.symbolic_sample_size = sample_size;
        data.nframes = frames;
        data.num_input_buses = data.num_output_buses = 1;
        data.inputs = &from;
        data.outputs = &to;
        need(v3_cpp_obj(processor_)->process(processor_, &data) == bare::vst3::ok, "its processing");
    }
    void stop()
    {
        if (!running_)
            return;
        v3_cpp_obj(processor_)->set_processing(processor_, 0);
        v3_cpp_obj(component_)->set_active(component_, 0);
        running_ = false;
    }

    module_file module_;
    bool (*exit_)();
    v3_plugin_factory** factory_ = nullptr;
    v3_component** component_ = nullptr;
    v3_audio_processor** processor_ = nullptr;
    bool running_ = false;
};

} // namespace

std::unique_ptr<direct_effect> load_direct_effect(const std::wstring& path)
{
    if (path.ends_with(L".vst3"))
        return std::make_unique<vst3_direct>(path);
    return std::make_unique<vst2_direct>(path);
}

} // namespace bench
