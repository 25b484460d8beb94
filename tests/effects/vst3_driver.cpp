#include "effects/plugin_driver.h"

#include "effects/bare/vst3_api.h"

#include <doctest/doctest.h>
#include <travesty/view.h>
#include <windows.h>

#include <cstring>
#include <map>

namespace {

using namespace bare::vst3;

// Host objects live as long as the test says: they answer reference counts without counting.
template <class Table, class Owner>
void fill_unknown(Table& t)
{
    using bound = bind<Table, Owner>;
    bound::to(t.query_interface, [](Owner&, const uint8_t*, void** object) {
        *object = nullptr;
        return no_interface;
    });
    bound::to(t.ref, [](Owner&) { return 2u; });
    bound::to(t.unref, [](Owner&) { return 1u; });
}

struct stream_table : v3_funknown {
    v3_bstream stream;
};

// Gives all that is asked for in one read: the framework's modules misread a state that comes in smaller
// pieces.
struct memory_stream {
    bytes data;
    std::size_t at = 0;
    face<stream_table, memory_stream> self{&table(), this};

    v3_bstream** pointer() { return reinterpret_cast<v3_bstream**>(&self); }

    static const stream_table& table()
    {
        static const stream_table made = [] {
            using bound = bind<stream_table, memory_stream>;
            stream_table t{};
            fill_unknown<stream_table, memory_stream>(t);
            bound::to(t.stream.read, [](memory_stream& s, void* buffer, int32_t size, int32_t* done) {
                const auto got = std::min(static_cast<std::size_t>(size), s.data.size() - s.at);
                std::memcpy(buffer, s.data.data() + s.at, got);
                s.at += got;
                if (done)
                    *done = static_cast<int32_t>(got);
                return ok;
            });
            bound::to(t.stream.write, [](memory_stream& s, void* buffer, int32_t size, int32_t* done) {
                const auto* const first = static_cast<const std::byte*>(buffer);
                s.data.insert(s.data.end(), first, first + size);
                if (done)
                    *done = size;
                return ok;
            });
            bound::to(t.stream.seek,
                      [](memory_stream&, int64_t, int32_t, int64_t*) { return not_implemented; });
            bound::to(t.stream.tell, [](memory_stream&, int64_t*) { return not_implemented; });
            return t;
        }();
        return made;
    }
};

// One point at the block's start for one parameter.
struct queue {
    v3_param_id id = 0;
    double value = 0;
    face<v3_param_value_queue_cpp, queue> self{&table(), this};

    static const v3_param_value_queue_cpp& table()
    {
        static const v3_param_value_queue_cpp made = [] {
            using bound = bind<v3_param_value_queue_cpp, queue>;
            v3_param_value_queue_cpp t{};
            fill_unknown<v3_param_value_queue_cpp, queue>(t);
            bound::to(t.queue.get_param_id, [](queue& q) { return q.id; });
            bound::to(t.queue.get_point_count, [](queue&) { return 1; });
            bound::to(t.queue.get_point, [](queue& q, int32_t, int32_t* offset, double* value) {
                *offset = 0;
                *value = q.value;
                return ok;
            });
            bound::to(t.queue.add_point, [](queue&, int32_t, double, int32_t*) { return ok; });
            return t;
        }();
        return made;
    }
};

struct changes {
    std::vector<std::unique_ptr<queue>> queues;
    queue spare; // swallows what the module reports
    face<v3_param_changes_cpp, changes> self{&table(), this};

    v3_param_changes** pointer() { return reinterpret_cast<v3_param_changes**>(&self); }

    static const v3_param_changes_cpp& table()
    {
        static const v3_param_changes_cpp made = [] {
            using bound = bind<v3_param_changes_cpp, changes>;
            v3_param_changes_cpp t{};
            fill_unknown<v3_param_changes_cpp, changes>(t);
            bound::to(t.changes.get_param_count,
                      [](changes& c) { return static_cast<int32_t>(c.queues.size()); });
            bound::to(t.changes.get_param_data, [](changes& c, int32_t index) {
                return reinterpret_cast<v3_param_value_queue**>(
                    &c.queues.at(static_cast<std::size_t>(index))->self);
            });
            bound::to(t.changes.add_param_data, [](changes& c, v3_param_id*, int32_t* index) {
                *index = 0;
                return reinterpret_cast<v3_param_value_queue**>(&c.spare.self);
            });
            return t;
        }();
        return made;
    }
};

struct component_handler_table : v3_funknown {
    v3_component_handler comp;
};

// What an editor calls.
struct edit_host {
    plugin_driver& driver;
    face<component_handler_table, edit_host> handler{&handler_table(), this};
    face<v3_plugin_frame_cpp, edit_host> frame{&frame_table(), this};

    static const component_handler_table& handler_table()
    {
        static const component_handler_table made = [] {
            using bound = bind<component_handler_table, edit_host>;
            component_handler_table t{};
            fill_unknown<component_handler_table, edit_host>(t);
            bound::to(t.comp.begin_edit, [](edit_host& h, v3_param_id) {
                ++h.driver.open_edits;
                return ok;
            });
            bound::to(t.comp.perform_edit, [](edit_host& h, v3_param_id id, double value) {
                h.driver.edits.push_back({id, value});
                return ok;
            });
            bound::to(t.comp.end_edit, [](edit_host& h, v3_param_id) {
                --h.driver.open_edits;
                return ok;
            });
            bound::to(t.comp.restart_component, [](edit_host&, int32_t) { return ok; });
            return t;
        }();
        return made;
    }
    static const v3_plugin_frame_cpp& frame_table()
    {
        static const v3_plugin_frame_cpp made = [] {
            using bound = bind<v3_plugin_frame_cpp, edit_host>;
            v3_plugin_frame_cpp t{};
            fill_unknown<v3_plugin_frame_cpp, edit_host>(t);
            bound::to(t.frame.resize_view, [](edit_host& h, v3_plugin_view** view, v3_view_rect* rect) {
                h.driver.wanted_sizes.push_back({rect->right, rect->bottom});
                return v3_cpp_obj(view)->on_size(view, rect);
            });
            return t;
        }();
        return made;
    }
};

constexpr v3_speaker_arrangement layouts[] = {0, 1 << 19, 0x3, 0xB, 0x33, 0x37, 0x3F, 0x13F, 0x63F};

class vst3_driver final : public plugin_driver {
public:
    explicit vst3_driver(const std::wstring& path)
        : module_(LoadLibraryW(path.c_str()))
    {
        REQUIRE(module_);
        REQUIRE(function<bool()>("InitDll")());
        factory_ = function<v3_plugin_factory**()>("GetPluginFactory")();
        REQUIRE(factory_);
        for (int32_t i = 0; i < v3_cpp_obj(factory_)->num_classes(factory_) && !component_; ++i) {
            REQUIRE(v3_cpp_obj(factory_)->get_class_info(factory_, i, &class_) == ok);
            if (std::strcmp(class_.category, "Audio Module Class") != 0)
                continue;
            void* object = nullptr;
            REQUIRE(v3_cpp_obj(factory_)->create_instance(factory_, class_.class_id, v3_component_iid,
                                                          &object) == ok);
            component_ = static_cast<v3_component**>(object);
        }
        REQUIRE(component_);
        REQUIRE(v3_cpp_obj_initialize(component_, nullptr) == ok);
        REQUIRE(v3_cpp_obj_query_interface(component_, v3_audio_processor_iid, &processor_) == ok);
        REQUIRE(v3_cpp_obj_query_interface(component_, v3_edit_controller_iid, &controller_) == ok);
        v3_cpp_obj(controller_)
            ->set_component_handler(controller_,
                                    reinterpret_cast<v3_component_handler**>(&edit_host_.handler));
    }
    ~vst3_driver() override
    {
        if (component_) {
            close_editor();
            v3_cpp_obj(controller_)->set_component_handler(controller_, nullptr);
            stop();
            v3_cpp_obj_terminate(component_);
            v3_cpp_obj_unref(controller_);
            v3_cpp_obj_unref(processor_);
            CHECK(v3_cpp_obj_unref(component_) == 0);
        }
        v3_cpp_obj_unref(factory_);
        CHECK(function<bool()>("ExitDll")());
        FreeLibrary(module_);
    }

    std::string name() override { return class_.name; }
    bool set_channels(int count) override
    {
        v3_speaker_arrangement in = layouts[count], out = in;
        const bool taken = v3_cpp_obj(processor_)->set_bus_arrangements(processor_, &in, 1, &out, 1) == ok;
        if (taken) {
            v3_speaker_arrangement reported = 0;
            CHECK(v3_cpp_obj(processor_)->get_bus_arrangement(processor_, V3_OUTPUT, 0, &reported) == ok);
            CHECK(reported == layouts[count]);
        }
        return taken;
    }
    int channels() override
    {
        v3_bus_info in{}, out{};
        CHECK(v3_cpp_obj(component_)->get_bus_info(component_, V3_AUDIO, V3_INPUT, 0, &in) == ok);
        CHECK(v3_cpp_obj(component_)->get_bus_info(component_, V3_AUDIO, V3_OUTPUT, 0, &out) == ok);
        CHECK(in.channel_count == out.channel_count);
        return in.channel_count;
    }
    bool can_double() override
    {
        return v3_cpp_obj(processor_)->can_process_sample_size(processor_, V3_SAMPLE_64) == ok;
    }
    void start(double rate, int max_frames, bool use_double) override
    {
        stop();
        setup_ = {V3_REALTIME, use_double ? V3_SAMPLE_64 : V3_SAMPLE_32, max_frames, rate};
        REQUIRE(v3_cpp_obj(processor_)->setup_processing(processor_, &setup_) == ok);
        REQUIRE(v3_cpp_obj(component_)->set_active(component_, 1) == ok);
        v3_cpp_obj(processor_)->set_processing(processor_, 1);
        running_ = true;
    }
    void stop() override
    {
        if (!running_)
            return;
        v3_cpp_obj(processor_)->set_processing(processor_, 0);
        v3_cpp_obj(component_)->set_active(component_, 0);
        running_ = false;
    }
    uint32_t latency() override { return v3_cpp_obj(processor_)->get_latency_samples(processor_); }
    void set_parameter(unsigned index, double normalised) override { pending_[index] = normalised; }
    double parameter(unsigned index) override
    {
        return v3_cpp_obj(controller_)->get_parameter_normalised(controller_, index);
    }
    void process(std::vector<const float*>& in, std::vector<float*>& out, int frames) override
    {
        v3_audio_bus_buffers from{}, to{};
        from.channel_buffers_32 = const_cast<float**>(in.data());
        to.channel_buffers_32 = out.data();
        process(from, to, in.size(), frames);
    }
    void process(std::vector<const double*>& in, std::vector<double*>& out, int frames) override
    {
        v3_audio_bus_buffers from{}, to{};
        from.channel_buffers_64 = const_cast<double**>(in.data());
        to.channel_buffers_64 = out.data();
        process(from, to, in.size(), frames);
    }
    bytes save() override
    {
        memory_stream stream;
        REQUIRE(v3_cpp_obj(component_)->get_state(component_, stream.pointer()) == ok);
        return stream.data;
    }
    void load(const bytes& state) override
    {
        memory_stream component_state, controller_state;
        component_state.data = controller_state.data = state;
        REQUIRE(v3_cpp_obj(component_)->set_state(component_, component_state.pointer()) == ok);
        REQUIRE(v3_cpp_obj(controller_)->set_component_state(controller_, controller_state.pointer()) == ok);
    }

    size open_editor(void* parent) override
    {
        view_ = v3_cpp_obj(controller_)->create_view(controller_, "editor");
        if (!view_)
            return {};
        CHECK(v3_cpp_obj(view_)->is_platform_type_supported(view_, V3_VIEW_PLATFORM_TYPE_HWND) == ok);
        v3_cpp_obj(view_)->set_frame(view_, reinterpret_cast<v3_plugin_frame**>(&edit_host_.frame));
        const size before = editor_size();
        CHECK(v3_cpp_obj(view_)->attached(view_, parent, V3_VIEW_PLATFORM_TYPE_HWND) == ok);
        CHECK(editor_size() == before);
        return before;
    }
    void close_editor() override
    {
        if (!view_)
            return;
        CHECK(v3_cpp_obj(view_)->removed(view_) == ok);
        v3_cpp_obj(view_)->set_frame(view_, nullptr);
        CHECK(v3_cpp_obj_unref(view_) == 0);
        view_ = nullptr;
    }
    size editor_size() override
    {
        v3_view_rect rect{};
        REQUIRE(v3_cpp_obj(view_)->get_size(view_, &rect) == ok);
        return {rect.right - rect.left, rect.bottom - rect.top};
    }
    bool resize_editor(size wanted) override
    {
        v3_view_rect rect{0, 0, wanted.width, wanted.height};
        return v3_cpp_obj(view_)->can_resize(view_) == ok &&
               v3_cpp_obj(view_)->check_size_constraint(view_, &rect) == ok &&
               v3_cpp_obj(view_)->on_size(view_, &rect) == ok;
    }

private:
    template <class Signature>
    Signature* function(const char* name)
    {
        void* const address = reinterpret_cast<void*>(GetProcAddress(module_, name));
        REQUIRE(address);
        return reinterpret_cast<Signature*>(address);
    }

    void process(v3_audio_bus_buffers& in, v3_audio_bus_buffers& out, std::size_t count, int frames)
    {
        changes input, output;
        for (const auto& [id, value] : pending_) {
            input.queues.push_back(std::make_unique<queue>());
            input.queues.back()->id = id;
            input.queues.back()->value = value;
        }
        pending_.clear();
        in.num_channels = out.num_channels = static_cast<int32_t>(count);
        v3_process_data data{};
        data.process_mode = setup_.process_mode;
        data.symbolic_sample_size = setup_.symbolic_sample_size;
        data.nframes = frames;
        data.num_input_buses = data.num_output_buses = 1;
        data.inputs = &in;
        data.outputs = &out;
        data.input_params = input.pointer();
        data.output_params = output.pointer();
        REQUIRE(v3_cpp_obj(processor_)->process(processor_, &data) == ok);
    }

    HMODULE module_;
    v3_plugin_factory** factory_ = nullptr;
    v3_class_info class_{};
    v3_component** component_ = nullptr;
    v3_audio_processor** processor_ = nullptr;
    v3_edit_controller** controller_ = nullptr;
    edit_host edit_host_{*this};
    v3_plugin_view** view_ = nullptr;
    v3_process_setup setup_{};
    std::map<v3_param_id, double> pending_;
    bool running_ = false;
};

} // namespace

std::unique_ptr<plugin_driver> open_vst3(const std::wstring& path)
{
    return std::make_unique<vst3_driver>(path);
}
