// The module comes and goes, as in a player that is started once and a test that does so often.

#include "loaded_component.h"

#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/initquit.h"
#include "support/system_counts.h"
#include "support/test_options.h"

#include <doctest/doctest.h>

#include <windows.h>

TEST_CASE("the module can be loaded and unloaded again and again, also after it had a worker")
{
    const auto round = [](bool with_worker) {
        loaded_component component;
        component.use_scripted_workers();
        component.client->services_init(true);
        for (service_factory_base* const factory : component.factories()) {
            service_ptr_t<service_base> service;
            factory->instance_create(service);
            REQUIRE(service);
        }
        component.service<initquit>()->on_init();
        if (with_worker) {
            const fake_worker fake("write-stderr \"hello\\n\"\nconnect\nserve");
            service_ptr_t<dsp> instance;
            REQUIRE(component.entry()->instantiate(instance, preset_of(fake.effect())));
            dsp_chunk_list_impl list;
            fill_chunk(*list.add_item(), {});
            instance->run(list, nullptr, 0);
            CHECK(fake.commands().size() == 3);
            CHECK(component.host.wait_for_line("VST: hello"));
            instance.release();
        }
        component.client->services_init(false);
        component.service<initquit>()->on_quit();
    };
    round(true);
    round(false);
    CHECK(GetModuleHandleW(L"qvx_dsp_vst3.dll") == nullptr);
    const system_counts before = system_counts::now();
    const size_t rounds = test_options::long_run() ? 1000 : 20;
    for (size_t i = 0; i < rounds; ++i)
        round(i % 4 == 0);
    CHECK(GetModuleHandleW(L"qvx_dsp_vst3.dll") == nullptr);
    before.check_nothing_more(rounds / 4 - 1);
}
