#include "player/commands/service_listing.h"

#include "sdk/advconfig.h"
#include "sdk/componentversion.h"
#include "sdk/dsp.h"
#include "sdk/initquit.h"
#include "sdk/mainmenu.h"

namespace player {

namespace {

// For every class that has a name and a GUID of its own.
template <class T>
void describe_labelled(service_base& service, service_description& out)
{
    if (const auto labelled = service_query_as<T>(service)) {
        string_out_impl name;
        labelled->get_name(name);
        out.name = name.text;
        out.guid = labelled->get_guid();
    }
}

void describe_version(service_base& service, service_description& out)
{
    if (const auto version = service_query_as<componentversion>(service)) {
        string_out_impl name;
        version->get_component_name(name);
        out.name = name.text;
    }
}

void describe_menu(service_base& service, service_description& out)
{
    const auto menu = service_query_as<mainmenu_commands>(service);
    if (!menu || menu->get_command_count() == 0)
        return;
    string_out_impl name;
    menu->get_name(0, name);
    out.name = name.text;
    out.guid = menu->get_command(0);
}

struct known_class {
    guid_t class_guid;
    const char* name;
    void (*describe)(service_base& service, service_description& out); // null: nothing of its own to say
};
const known_class known_classes[] = {
    {advconfig_branch::class_guid, "advconfig_branch", &describe_labelled<advconfig_branch>},
    {advconfig_entry::class_guid, "advconfig_entry", &describe_labelled<advconfig_entry>},
    {initquit::class_guid, "initquit", nullptr},
    {dsp_entry::class_guid, "dsp_entry", &describe_labelled<dsp_entry>},
    {componentversion::class_guid, "componentversion", &describe_version},
    {mainmenu_commands::class_guid, "mainmenu_commands", &describe_menu},
};

const char* kind_name(service_factory_base::kind_t kind)
{
    switch (kind) {
    case service_factory_base::kind_t::single:
        return "single";
    case service_factory_base::kind_t::singleton:
        return "singleton";
    case service_factory_base::kind_t::multi:
        break;
    }
    return "multi";
}

} // namespace

std::vector<service_description> list_services(service_factory_base* head)
{
    std::vector<service_description> list;
    for (auto* factory = head; factory; factory = factory->get_next()) {
        const guid_t class_guid = factory->get_class_guid();
        service_description& item = list.emplace_back(
            service_description{guid_text(class_guid), kind_name(factory->get_kind()), class_guid, {}});
        for (const known_class& known : known_classes) {
            if (!(known.class_guid == class_guid))
                continue;
            item.class_name = known.name;
            if (!known.describe)
                continue;
            service_ptr_t<service_base> service;
            factory->instance_create(service);
            if (service)
                known.describe(*service, item);
        }
    }
    return list;
}

} // namespace player
