// Exceptions and services across the boundary between the player and a component, each a module of its own.

#include "player/json_config_store.h"
#include "player/player_host.h"
#include "player/service_listing.h"
#include "run_program.h"
#include "sdk/dsp.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/dsp_preset_impl.h"
#include "sdk/initquit.h"

#include <doctest/doctest.h>

#include <new>

using namespace player;

namespace {

service_ptr_t<dsp> make(dsp_entry& entry, uint8_t number, char where)
{
    dsp_preset_impl preset;
    preset.set_owner(entry.get_guid());
    const uint8_t bytes[2] = {number, static_cast<uint8_t>(where)};
    preset.set_data(bytes, sizeof(bytes));
    service_ptr_t<dsp> made;
    if (!entry.instantiate(made, preset))
        FAIL("refused");
    return made;
}

// Both while an instance is made and while it runs.
template <class T>
void check_crossing(dsp_entry& entry, uint8_t number, const char* text)
{
    CAPTURE(std::string(text));
    CHECK_THROWS_WITH_AS(make(entry, number, 'c'), text, T);
    const auto made = make(entry, number, 'r');
    dsp_chunk_list_impl chunks;
    CHECK_THROWS_WITH_AS(made->run(chunks, nullptr, dsp_flag_end_of_playback), text, T);
}

} // namespace

TEST_CASE("boundary: every exception crosses from a component into the player by type, and back")
{
    const temp_folder folder;
    player_host host({}, service_new<json_config_store>(folder.path("config.json")));
    host.load_component(tests_folder() + "\\throwing_component.dll");
    host.start();
    {
        const auto entry = service_get_unique<dsp_entry>();
        check_crossing<exception_aborted>(*entry, 0, "User abort");
        check_crossing<exception_io>(*entry, 1, "I/O error");
        check_crossing<exception_io_not_found>(*entry, 2, "Object not found");
        check_crossing<exception_io_denied>(*entry, 3, "Access denied");
        check_crossing<exception_io_data>(*entry, 4, "Unsupported format or corrupted file");
        check_crossing<exception_io_data_truncation>(*entry, 5, "Unsupported format or corrupted file");
        check_crossing<exception_io_data>(*entry, 5, "Unsupported format or corrupted file"); // by its base
        check_crossing<exception_overflow>(*entry, 6, "Overflow");
        check_crossing<exception_win32>(*entry, 7, "Win32 error 5");
        check_crossing<exception_host_bug_check>(*entry, 8, "forced cast failure");
        check_crossing<std::runtime_error>(*entry, 9, "VST error");
        CHECK_THROWS_AS(make(*entry, 10, 'c'), std::bad_alloc);

        const auto catching = make(*entry, 0, 'p');
        dsp_chunk_list_impl chunks;
        catching->run(chunks, nullptr, dsp_flag_end_of_playback);
        CHECK(catching->get_latency() == 1);
    }
    CHECK(host.shut_down());
    CHECK(GetModuleHandleW(L"throwing_component.dll") == nullptr); // unloaded
}

TEST_CASE("boundary: factories of all kinds are listed from the head and keep their promises")
{
    const temp_folder folder;
    player_host host({}, service_new<json_config_store>(folder.path("config.json")));
    host.load_component(tests_folder() + "\\throwing_component.dll");
    host.start();
    const auto list = list_services(host.component_services());
    REQUIRE(list.size() == 3);
    CHECK((list[0].class_name == "initquit" && list[0].kind == "multi"));
    CHECK((list[1].class_name == "dsp_entry" && list[1].kind == "singleton" && list[1].name == "throwing"));
    CHECK((list[2].class_name == "initquit" && list[2].kind == "single"));

    const auto get = [&](const guid_t& guid, size_t index) {
        service_ptr_t<service_base> service;
        host.get_service(service, guid, index);
        return service;
    };
    CHECK(host.get_service_count(initquit::class_guid) == 2);
    const auto first = get(initquit::class_guid, 0), again = get(initquit::class_guid, 0);
    CHECK(first.get() != again.get());                                                 // multi
    CHECK(get(initquit::class_guid, 1).get() == get(initquit::class_guid, 1).get());   // single
    CHECK(get(dsp_entry::class_guid, 0).get() == get(dsp_entry::class_guid, 0).get()); // singleton
    CHECK_FALSE(get(initquit::class_guid, 2));
}
