// What the test modules' factories and components say before anything is processed.

#include "effects/plugin_driver.h"

#include "effects/bare/vst2_api.h"
#include "effects/bare/vst3_api.h"

#include <doctest/doctest.h>
#include <windows.h>

#include <cstring>

namespace {

using namespace bare::vst3;

// A loaded VST 3 module and its factory.
class module_file {
public:
    explicit module_file(const std::wstring& name)
        : module_(LoadLibraryW(test_module_path(name).c_str()))
    {
        REQUIRE(module_);
        REQUIRE(function<bool()>("InitDll")());
        factory_ = function<v3_plugin_factory**()>("GetPluginFactory")();
        REQUIRE(factory_);
    }
    ~module_file()
    {
        function<bool()>("ExitDll")();
        FreeLibrary(module_);
    }
    module_file(const module_file&) = delete;
    module_file& operator=(const module_file&) = delete;

    int32_t count() { return v3_cpp_obj(factory_)->num_classes(factory_); }
    v3_class_info info(int32_t index)
    {
        v3_class_info made{};
        CHECK(v3_cpp_obj(factory_)->get_class_info(factory_, index, &made) == ok);
        return made;
    }
    std::u16string unicode_name(int32_t index)
    {
        v3_plugin_factory_3** third = nullptr;
        REQUIRE(v3_cpp_obj_query_interface(factory_, v3_plugin_factory_3_iid, &third) == ok);
        v3_class_info_3 made{};
        CHECK(v3_cpp_obj(third)->get_class_info_utf16(third, index, &made) == ok);
        v3_cpp_obj_unref(third);
        return reinterpret_cast<const char16_t*>(made.name);
    }
    template <class Interface>
    Interface** create(const v3_tuid class_id, const v3_tuid iid)
    {
        void* object = nullptr;
        v3_cpp_obj(factory_)->create_instance(factory_, class_id, iid, &object);
        return static_cast<Interface**>(object);
    }
    v3_component** component() { return create<v3_component>(info(0).class_id, v3_component_iid); }

private:
    template <class Signature>
    Signature* function(const char* name)
    {
        return reinterpret_cast<Signature*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

    HMODULE module_;
    v3_plugin_factory** factory_ = nullptr;
};

std::vector<int32_t> channels(v3_component** component, int32_t media, int32_t direction)
{
    std::vector<int32_t> counts;
    for (int32_t i = 0; i < v3_cpp_obj(component)->get_bus_count(component, media, direction); ++i) {
        v3_bus_info info{};
        CHECK(v3_cpp_obj(component)->get_bus_info(component, media, direction, i, &info) == ok);
        counts.push_back(info.channel_count);
    }
    return counts;
}

bool offers(v3_component** component, const v3_tuid iid)
{
    v3_funknown** object = nullptr;
    if (v3_cpp_obj_query_interface(component, iid, &object) != ok)
        return false;
    (*reinterpret_cast<v3_funknown**>(object))->unref(object);
    return true;
}

struct shape {
    const wchar_t* name;
    std::vector<int32_t> inputs, outputs, events;
};

struct vst2_file {
    HMODULE module;
    vst_effect* effect = nullptr;

    explicit vst2_file(const std::wstring& name)
        : module(LoadLibraryW(test_module_path(name).c_str()))
    {
        REQUIRE(module);
        const auto entry = reinterpret_cast<vst_effect* (*)(bare::vst2::host_callback)>(
            reinterpret_cast<void*>(GetProcAddress(module, "VSTPluginMain")));
        effect = entry([](vst_effect*, int32_t opcode, int32_t, intptr_t, void*, float) -> intptr_t {
            return opcode == bare::vst2::host_version      ? 2400
                   : opcode == bare::vst2::host_current_id ? wanted_id
                                                           : 0;
        });
    }
    ~vst2_file()
    {
        if (effect)
            call(bare::vst2::op_close);
        FreeLibrary(module);
    }
    vst2_file(const vst2_file&) = delete;
    vst2_file& operator=(const vst2_file&) = delete;

    intptr_t call(int32_t opcode, void* ptr = nullptr)
    {
        return effect->control(effect, static_cast<VST_EFFECT_OPCODE>(opcode), 0, 0, ptr, 0);
    }

    static inline intptr_t wanted_id = 0;
};

} // namespace

TEST_CASE("test modules: buses")
{
    const shape shapes[] = {
        {L"module_with_mono_buses", {1, 1}, {1, 1}, {}},
        {L"module_with_a_side_chain", {2, 2}, {2}, {}},
        {L"module_with_two_inputs_and_six_outputs", {2}, {6}, {}},
        {L"module_that_is_an_instrument", {}, {2}, {1}},
        {L"module_without_audio", {}, {}, {}},
    };
    for (const shape& expected : shapes) {
        module_file file(std::wstring(expected.name) + L".vst3");
        v3_component** const component = file.component();
        REQUIRE(component);
        CHECK(channels(component, V3_AUDIO, V3_INPUT) == expected.inputs);
        CHECK(channels(component, V3_AUDIO, V3_OUTPUT) == expected.outputs);
        CHECK(channels(component, V3_EVENT, V3_INPUT) == expected.events);
        v3_cpp_obj_unref(component);

        int32_t inputs = 0, outputs = 0;
        for (const int32_t count : expected.inputs)
            inputs += count;
        for (const int32_t count : expected.outputs)
            outputs += count;
        const vst2_file other(std::wstring(expected.name) + L".dll");
        REQUIRE(other.effect);
        CHECK(other.effect->num_inputs == inputs);
        CHECK(other.effect->num_outputs == outputs);
    }
}

TEST_CASE("test modules: classes and controllers")
{
    {
        module_file many(L"module_with_34_classes.vst3");
        REQUIRE(many.count() == 34);
        CHECK(std::string(many.info(33).name) == "Class 34");
        v3_component** const last = many.create<v3_component>(many.info(33).class_id, v3_component_iid);
        REQUIRE(last);
        v3_cpp_obj_unref(last);
    }
    {
        module_file unicode(L"module_with_names_in_unicode_only.vst3");
        CHECK(std::string(unicode.info(0).name).empty());
        CHECK(unicode.unicode_name(0) == u"module_with_names_in_unicode_only");
    }
    {
        module_file none(L"module_without_a_controller.vst3");
        v3_component** const component = none.component();
        CHECK_FALSE(offers(component, v3_edit_controller_iid));
        v3_tuid id;
        CHECK(v3_cpp_obj(component)->get_controller_class_id(component, id) != ok);
        v3_cpp_obj_unref(component);
    }
    {
        module_file separate(L"module_with_a_separate_controller.vst3");
        CHECK(separate.count() == 2);
        v3_component** const component = separate.component();
        CHECK_FALSE(offers(component, v3_edit_controller_iid));
        CHECK(offers(component, v3_connection_point_iid));
        v3_tuid id;
        REQUIRE(v3_cpp_obj(component)->get_controller_class_id(component, id) == ok);
        v3_edit_controller** const controller =
            separate.create<v3_edit_controller>(id, v3_edit_controller_iid);
        REQUIRE(controller);
        CHECK(v3_cpp_obj(controller)->get_parameter_count(controller) == 1);
        v3_cpp_obj_unref(controller);
        v3_cpp_obj_unref(component);
    }
    {
        module_file none(L"module_without_classes.vst3");
        CHECK(none.count() == 0);
        module_file other(L"module_without_an_effect.vst3");
        CHECK(other.count() == 1);
        CHECK(std::strcmp(other.info(0).category, "Audio Module Class") != 0);
        module_file failing(L"module_that_fails_to_open.vst3");
        v3_component** const component = failing.component();
        CHECK(v3_cpp_obj_initialize(component, nullptr) != ok);
        v3_cpp_obj_unref(component);
    }
}

TEST_CASE("test modules: a VST 2 shell lists its classes and opens the one that is wanted")
{
    intptr_t last = 0;
    {
        vst2_file shell(L"module_with_34_classes.dll");
        CHECK(shell.call(bare::vst2::op_get_category) == 10);
        char name[64] = "";
        int count = 0;
        while (const intptr_t id = shell.call(bare::vst2::op_next_in_shell, name)) {
            last = id;
            ++count;
        }
        CHECK(count == 34);
        CHECK(std::string(name) == "Class 34");
    }
    vst2_file::wanted_id = last;
    vst2_file chosen(L"module_with_34_classes.dll");
    vst2_file::wanted_id = 0;
    char name[64] = "";
    chosen.call(bare::vst2::op_effect_name, name);
    CHECK(std::string(name) == "Class 34");
    CHECK(chosen.call(bare::vst2::op_get_category) == 1);
    CHECK(vst2_file(L"module_without_an_effect.dll").effect == nullptr);
    CHECK(vst2_file(L"module_without_classes.dll").effect == nullptr);
}
