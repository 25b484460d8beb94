// The VST 3 entry points and the factory. The factory is one static object: its reference count is only for
// show.

#include "effects/bare/vst3_instance.h"

#include <cstdio>

namespace bare::vst3 {

namespace {

constexpr int32_t many_instances = 0x7FFFFFFF;
constexpr int32_t unicode_strings = 0x10;

template <std::size_t size>
void copy_text8(char (&to)[size], const char* text)
{
    std::snprintf(to, size, "%s", text);
}

constexpr const char* component_category = "Audio Module Class";
constexpr const char* controller_category = "Component Controller Class";

// One class that the factory lists.
struct listed {
    const module_class& what;
    role as;

    std::array<uint32_t, 4> id() const
    {
        return as == role::component ? what.about.class_id : controller_id(what.about.class_id);
    }
    const char* category() const { return as == role::component ? what.about.category : controller_category; }
};

// The components, then the controllers that are classes of their own.
const std::vector<listed>& all_classes()
{
    static const std::vector<listed> made = [] {
        std::vector<listed> list;
        for (const module_class& what : module_classes())
            list.push_back({what, role::component});
        for (const module_class& what : module_classes())
            if (what.about.controller == controller_kind::own_object)
                list.push_back({what, role::controller});
        return list;
    }();
    return made;
}

const listed* class_at(int32_t index)
{
    const auto& classes = all_classes();
    const auto position = static_cast<std::size_t>(index);
    return index >= 0 && position < classes.size() ? &classes[position] : nullptr;
}

const char* name8(const description& about)
{
    return about.names_in_unicode_only ? "" : about.name;
}

v3_result V3_API query(void* self, const v3_tuid iid, void** object)
{
    if (!object)
        return invalid_argument;
    const bool known = v3_tuid_match(iid, v3_funknown_iid) || v3_tuid_match(iid, v3_plugin_factory_iid) ||
                       v3_tuid_match(iid, v3_plugin_factory_2_iid) ||
                       v3_tuid_match(iid, v3_plugin_factory_3_iid);
    *object = known ? self : nullptr;
    return known ? ok : no_interface;
}

v3_result V3_API factory_info(void*, v3_factory_info* info)
{
    *info = {};
    copy_text8(info->vendor, "qvx");
    info->flags = unicode_strings;
    return ok;
}

// The three forms of class info share these fields.
template <class Info>
bool fill(int32_t index, Info* info)
{
    const listed* const entry = class_at(index);
    if (!entry || !info)
        return false;
    *info = {};
    copy_class_id(info->class_id, entry->id());
    info->cardinality = many_instances;
    copy_text8(info->category, entry->category());
    return true;
}

v3_result V3_API class_info(void*, int32_t index, v3_class_info* info)
{
    if (!fill(index, info))
        return invalid_argument;
    copy_text8(info->name, name8(class_at(index)->what.about));
    return ok;
}

v3_result V3_API class_info_2(void*, int32_t index, v3_class_info_2* info)
{
    if (!fill(index, info))
        return invalid_argument;
    const description& about = class_at(index)->what.about;
    copy_text8(info->name, name8(about));
    copy_text8(info->sub_categories, about.sub_categories);
    copy_text8(info->vendor, "qvx");
    copy_text8(info->version, "1.0.0");
    copy_text8(info->sdk_version, "VST 3.6.0");
    return ok;
}

v3_result V3_API class_info_utf16(void*, int32_t index, v3_class_info_3* info)
{
    if (!fill(index, info))
        return invalid_argument;
    const description& about = class_at(index)->what.about;
    copy_text(info->name, about.name);
    copy_text8(info->sub_categories, about.sub_categories);
    copy_text(info->vendor, "qvx");
    copy_text(info->version, "1.0.0");
    copy_text(info->sdk_version, "VST 3.6.0");
    return ok;
}

v3_result V3_API create(void*, const v3_tuid class_id, const v3_tuid iid, void** object)
{
    if (!object)
        return invalid_argument;
    *object = nullptr;
    for (const listed& entry : all_classes()) {
        v3_tuid own;
        copy_class_id(own, entry.id());
        if (!v3_tuid_match(own, class_id))
            continue;
        if (entry.as == role::component && std::strcmp(entry.category(), component_category) != 0)
            return no_interface;
        instance* const made = new instance(entry.what, entry.as);
        const v3_result result = made->query(iid, object);
        made->release();
        return result;
    }
    return no_interface;
}

uint32_t V3_API add_reference(void*)
{
    return 2;
}

uint32_t V3_API release(void*)
{
    return 1;
}

int32_t V3_API num_classes(void*)
{
    return static_cast<int32_t>(all_classes().size());
}

v3_result V3_API set_host_context(void*, v3_funknown**)
{
    return ok;
}

v3_plugin_factory_cpp make_table()
{
    v3_plugin_factory_cpp t{};
    t.query_interface = query;
    t.ref = add_reference;
    t.unref = release;
    t.v1.get_factory_info = factory_info;
    t.v1.num_classes = num_classes;
    t.v1.get_class_info = class_info;
    t.v1.create_instance = create;
    t.v2.get_class_info_2 = class_info_2;
    t.v3.get_class_info_utf16 = class_info_utf16;
    t.v3.set_host_context = set_host_context;
    return t;
}

struct factory {
    const v3_plugin_factory_cpp* table;
};

} // namespace

} // namespace bare::vst3

extern "C" bool InitDll()
{
    bare::module_classes(); // so that nothing is made under a later call's time limit
    return true;
}

extern "C" bool ExitDll()
{
    return true;
}

extern "C" const void* GetPluginFactory()
{
    static const v3_plugin_factory_cpp table = bare::vst3::make_table();
    static const bare::vst3::factory only{&table};
    return &only;
}
