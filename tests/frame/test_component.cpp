// What a player finds in the component: the client object, the services, the DSP's entry.

#include "loaded_component.h"

#include "sdk/advconfig.h"
#include "sdk/componentversion.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/initquit.h"
#include "sdk/mainmenu.h"

#include <doctest/doctest.h>

namespace {

using kind = service_factory_base::kind_t;

const char* const adapter = "VST 2.x/3.x Adapter";

template <class Get>
std::string text_of(Get&& get)
{
    string_out_impl out;
    get(out);
    return out.text;
}

// A host without any service.
struct host_of_version final : host_api {
    explicit host_of_version(uint32_t number)
        : version(number)
    {
    }
    uint32_t get_version() const noexcept override { return version; }
    size_t get_service_count(const guid_t&) const noexcept override { return 0; }
    void get_service(service_ptr_t<service_base>&, const guid_t&, size_t) override {}
    void* get_main_window() const noexcept override { return nullptr; }
    bool is_main_thread() const noexcept override { return true; }
    bool is_shutting_down() const noexcept override { return false; }
    bool are_services_available() const noexcept override { return true; }

    uint32_t version;
};

// Name and identity of a service, as far as its class has them.
std::string description(service_base& service)
{
    if (const auto branch = service_query_as<advconfig_branch>(service)) {
        CHECK(guid_text(branch->get_parent()) == "35365484-CC58-4926-97E1-5E63F3ABB9E2");
        CHECK(branch->get_sort_priority() == 0.0);
        return text_of([&](string_out& out) { branch->get_name(out); }) + " " + guid_text(branch->get_guid());
    }
    if (const auto box = service_query_as<advconfig_entry_checkbox_v2>(service)) {
        CHECK(guid_text(box->get_parent()) == "48943E10-202D-4140-A948-230C95B1BC88");
        CHECK(box->get_sort_priority() == 0.0);
        CHECK_FALSE(box->is_radio());
        CHECK(box->get_preferences_flags() == 0);
        CHECK(box->get_state() == box->get_default_state()); // in a fresh store
        return text_of([&](string_out& out) { box->get_name(out); }) + " " + guid_text(box->get_guid()) +
               (box->get_default_state() ? " on" : " off");
    }
    if (const auto entry = service_query_as<dsp_entry>(service))
        return text_of([&](string_out& out) { entry->get_name(out); }) + " " + guid_text(entry->get_guid());
    if (const auto version = service_query_as<componentversion>(service))
        return text_of([&](string_out& out) { version->get_component_name(out); }) + " " +
               text_of([&](string_out& out) { version->get_component_version(out); });
    if (const auto menu = service_query_as<mainmenu_commands>(service)) {
        CHECK(menu->get_command_count() == 1);
        CHECK(menu->get_sort_priority() == 0x80000000);
        return text_of([&](string_out& out) { menu->get_name(0, out); }) + " " +
               guid_text(menu->get_command(0)) + " in " + guid_text(menu->get_parent());
    }
    return service_query_as<initquit>(service) ? "initquit" : "?";
}

} // namespace

TEST_CASE("the client object, and hosts that it does not run with")
{
    loaded_component component;
    CHECK(component.client->get_version() == 81);
    CHECK_FALSE(component.client->is_debug());
    CHECK(component.get_interface(&component.host) == component.client);
    CHECK(component.get_interface(nullptr) == nullptr);
    host_of_version older(host_api::current_version - 1);
    host_of_version newer(host_api::current_version + 1);
    CHECK(component.get_interface(&older) == nullptr);
    CHECK(component.get_interface(&newer) == component.client);
    CHECK(component.get_interface(&component.host) == component.client);
}

TEST_CASE("the services in the order of their registration, each with its kind and identity")
{
    const loaded_component component;
    struct row {
        guid_t service_class;
        kind how;
        std::string what;
    };
    const row rows[] = {
        {advconfig_branch::class_guid, kind::single,
         std::string(adapter) + " 48943E10-202D-4140-A948-230C95B1BC88"},
        {advconfig_entry::class_guid, kind::single,
         "DPI-aware configuration panel 39951A96-E318-4AE1-A05A-A6FF2ED5777D off"},
        {advconfig_entry::class_guid, kind::single,
         "Feed live processed audio to configuration panel E2F1D325-3AC2-4570-BB04-922DB30D9279 on"},
        {advconfig_entry::class_guid, kind::single,
         "Process tail samples (output may be longer than input) 17F04BF0-5745-462F-929C-E7F230F51F5A off"},
        {initquit::class_guid, kind::single, "initquit"},
        {dsp_entry::class_guid, kind::singleton,
         std::string(adapter) + " 937F4CA5-6F0E-4D59-BA9C-6348DD1FA9E0"},
        {componentversion::class_guid, kind::single, std::string(adapter) + " " QVX_VERSION},
        {mainmenu_commands::class_guid, kind::singleton,
         "VST AE185F7F-68DD-49D6-AD27-C02BBD00AD78 in 8AF6EE1A-18D5-4B1C-AA2D-E50EAE3DC117"},
        {mainmenu_commands::class_guid, kind::singleton,
         "Visualize with VST ... 5CC1C77D-4473-4802-ACB5-6EB97F5C61E4 in "
         "29272FEC-21C7-4B00-A9A7-01A8CE675EBF"},
    };
    const auto factories = component.factories();
    REQUIRE(factories.size() == std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        CAPTURE(i);
        service_factory_base& factory = *factories[factories.size() - 1 - i]; // the head is the last one
        CHECK(factory.get_class_guid() == rows[i].service_class);
        CHECK(factory.get_kind() == rows[i].how);
        service_ptr_t<service_base> one, again;
        factory.instance_create(one);
        factory.instance_create(again);
        REQUIRE(one);
        CHECK(one.get() == again.get());
        CHECK(description(*one) == rows[i].what);
        service_base* found = one.get();
        CHECK_FALSE(one->service_query(found, {0x12345678, 0, 0, {}}));
        CHECK(found == nullptr);
    }
    const auto version = component.service<componentversion>();
    const std::string about = text_of([&](string_out& out) { version->get_about_message(out); });
    CHECK_FALSE(about.empty());
    CHECK(about.find('\n') == std::string::npos);
}

TEST_CASE("the DSP's entry: generations, default preset, display names, foreign presets")
{
    const loaded_component component;
    const auto entry = component.entry();
    REQUIRE(entry);
    CHECK(service_query_as<dsp_entry_v2>(*entry));
    CHECK(service_query_as<dsp_entry_v3>(*entry));
    CHECK(entry->have_config_popup());

    dsp_preset_impl preset;
    preset.set_data("x", 1);
    CHECK(entry->get_default_preset(preset));
    CHECK(preset.get_owner() == vstPresetOwner);
    CHECK(preset.get_data_size() == 0);

    vstConfig_t config;
    config.path = "C:\\Reverb.vst3";
    config.name = "R\xC3\xA9verb";
    config.vstVersion = 3;
    const dsp_preset_impl whole = preset_of(config);
    dsp_preset_impl foreign = whole, truncated = whole;
    foreign.set_owner({1, 2, 3, {}});
    truncated.set_data(whole.get_data(), whole.get_data_size() - 1);
    config.name.clear();
    const dsp_preset_impl nameless = preset_of(config);
    config = {"", "R", "x64", 3};
    const dsp_preset_impl pathless = preset_of(config);

    const std::string corrupt = "Unsupported format or corrupted file";
    struct row {
        const char* what;
        const dsp_preset_impl& preset;
        std::string shown;
        std::string plain;      // of instantiate: "made", "refused" or the failure's text
        std::string with_flags; // of instantiate_v4
    };
    const row rows[] = {
        {"a record", whole, "VST: R\xC3\xA9verb", "made", "made"},
        {"without a name", nameless, adapter, "made", "made"},
        {"without a path", pathless, "VST: R", "made", "made"},
        {"the default", preset, adapter, "made", "made"},
        {"foreign", foreign, adapter, "refused", corrupt},
        {"truncated", truncated, adapter, corrupt, corrupt},
    };
    for (const row& each : rows) {
        CAPTURE(each.what);
        CHECK(text_of([&](string_out& out) { entry->get_display_name(each.preset, out); }) == each.shown);
        for (const bool with_flags : {false, true}) {
            CAPTURE(with_flags);
            service_ptr_t<dsp> made;
            std::string outcome;
            try {
                const bool ok = with_flags ? entry->instantiate_v4(made, each.preset, dsp_flag_realtime)
                                           : entry->instantiate(made, each.preset);
                outcome = ok ? "made" : "refused";
            } catch (const exception_io_data& failure) {
                outcome = failure.what();
            }
            CHECK(outcome == (with_flags ? each.with_flags : each.plain));
            CHECK(static_cast<bool>(made) == (outcome == "made"));
            if (made)
                CHECK(service_query_as<dsp_v3>(*made));
        }
    }
}

TEST_CASE("the worker program lies where the player says that the component lies")
{
    loaded_component component;
    const fake_worker fake("connect\naudio 0.5 0\nserve");
    service_ptr_t<dsp> instance;
    REQUIRE(component.entry()->instantiate(instance, preset_of(fake.effect())));
    dsp_chunk_list_impl list;
    const auto run = [&]() -> std::string {
        list.remove_all();
        fill_chunk(*list.add_item(), 8);
        try {
            instance->run(list, nullptr, 0);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return std::to_string(list.get_item(0)->get_data()[1]);
    };
    CHECK(run() == "file not found"); // nothing was said yet: the program's name alone
    component.client->set_library_path("component.dll", "component.dll");
    CHECK(run() == "file not found");
    component.use_scripted_workers();
    CHECK(run() == "4.000000");
    REQUIRE(fake.arguments().size() > 1);
    CHECK(fake.arguments()[0].find("\\fake\\qvxVSTHost64.exe") != std::string::npos);
    instance.release();
}
