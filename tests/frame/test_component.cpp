// What a player finds in the component: the client object, the services, the DSP's entry.

#include "loaded_component.h"

#include "player/commands/service_listing.h"
#include "sdk/advconfig.h"
#include "sdk/componentversion.h"

#include <doctest/doctest.h>

namespace {

const char* const adapter = "VST 2.x/3.x Adapter";

template <class Get>
std::string text_of(Get&& get)
{
    string_out_impl out;
    get(out);
    return out.text;
}

} // namespace

TEST_CASE("the client object, and hosts that it does not run with")
{
    loaded_component component;
    CHECK(component.client->get_version() == 81);
    CHECK_FALSE(component.client->is_debug());
    CHECK(component.get_interface(nullptr) == nullptr);
    component.host.version = host_api::current_version - 1;
    CHECK(component.get_interface(&component.host) == nullptr);
    for (int i = 0; i < 2; ++i) { // this version, and a newer one
        ++component.host.version;
        CHECK(component.get_interface(&component.host) == component.client);
    }
}

TEST_CASE("the services in the order of their registration, each with its kind and identity")
{
    const loaded_component component;
    const struct {
        const char *class_name, *kind, *name, *guid;
    } rows[] = {
        {"advconfig_branch", "single", adapter, "48943E10-202D-4140-A948-230C95B1BC88"},
        {"advconfig_entry", "single", "DPI-aware configuration panel",
         "39951A96-E318-4AE1-A05A-A6FF2ED5777D"},
        {"advconfig_entry", "single", "Feed live processed audio to configuration panel",
         "E2F1D325-3AC2-4570-BB04-922DB30D9279"},
        {"advconfig_entry", "single", "Process tail samples (output may be longer than input)",
         "17F04BF0-5745-462F-929C-E7F230F51F5A"},
        {"initquit", "single", "", nullptr},
        {"dsp_entry", "singleton", adapter, "937F4CA5-6F0E-4D59-BA9C-6348DD1FA9E0"},
        {"componentversion", "single", adapter, nullptr},
        {"mainmenu_commands", "singleton", "VST", "AE185F7F-68DD-49D6-AD27-C02BBD00AD78"},
        {"mainmenu_commands", "singleton", "Visualize with VST ...", "5CC1C77D-4473-4802-ACB5-6EB97F5C61E4"},
    };
    const auto factories = component.factories();
    const auto listed = player::list_services(component.client->get_service_list());
    REQUIRE(listed.size() == std::size(rows));
    std::string switched_on;
    for (size_t i = 0; i < std::size(rows); ++i) {
        CAPTURE(i);
        const size_t at = factories.size() - 1 - i; // the head is the last one
        CHECK(listed[at].class_name == rows[i].class_name);
        CHECK(listed[at].kind == rows[i].kind);
        CHECK(listed[at].name == rows[i].name);
        CHECK(guid_text(rows[i].guid ? listed[at].guid : guid_t()) ==
              (rows[i].guid ? rows[i].guid : guid_text({})));
        service_ptr_t<service_base> one, again;
        factories[at]->instance_create(one);
        factories[at]->instance_create(again);
        REQUIRE(one);
        CHECK(one.get() == again.get());
        if (const auto box = service_query_as<advconfig_entry_checkbox_v2>(*one)) {
            CHECK(guid_text(box->get_parent()) == rows[0].guid);
            CHECK_FALSE(box->is_radio());
            CHECK(box->get_state() == box->get_default_state()); // in a fresh store
            switched_on += box->get_state() ? rows[i].name : "";
        }
        if (const auto version = service_query_as<componentversion>(*one)) {
            CHECK(text_of([&](string_out& out) { version->get_component_version(out); }) == QVX_VERSION);
            const std::string about = text_of([&](string_out& out) { version->get_about_message(out); });
            CHECK_FALSE(about.empty());
            CHECK(about.find('\n') == std::string::npos);
        }
        service_base* found = one.get();
        CHECK_FALSE(one->service_query(found, {0x12345678, 0, 0, {}}));
        CHECK(found == nullptr);
    }
    CHECK(switched_on == rows[2].name);
}

TEST_CASE("the DSP's entry: its generations, and the preset to begin with")
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
}

TEST_CASE("presets: what they are called, and which are made, refused or corrupt")
{
    const loaded_component component;
    const auto entry = component.entry();
    dsp_preset_impl preset;
    entry->get_default_preset(preset);
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
