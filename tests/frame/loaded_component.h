#pragma once
// The built component, loaded as a player would, and a small player around it.

#include "sdk/component_client.h"
#include "sdk/dsp.h"
#include "support/chunks.h"
#include "support/fake_worker.h"
#include "support/presets.h"
#include "support/test_host.h"

#include <string>
#include <vector>

class loaded_component {
public:
    // Throws std::runtime_error when the module cannot be loaded.
    loaded_component();
    // Waits for the component's detached threads, then unloads the module.
    ~loaded_component();
    loaded_component(const loaded_component&) = delete;
    loaded_component& operator=(const loaded_component&) = delete;

    // Makes every launch of this component play scripts.
    void use_scripted_workers();

    std::vector<service_factory_base*> factories() const; // in list order, the head first
    // The service of the `index`th factory, counted from the head, that is registered under T.
    template <class T>
    service_ptr_t<T> service(size_t index = 0) const
    {
        for (service_factory_base* const factory : factories()) {
            if (factory->get_class_guid() == T::class_guid && index-- == 0) {
                service_ptr_t<service_base> made;
                factory->instance_create(made);
                return service_query_as<T>(*made);
            }
        }
        return {};
    }
    service_ptr_t<dsp_entry_v4> entry() const;

    test_host host;
    component_client* client = nullptr;
    quavix_get_interface_t* get_interface = nullptr;
    void* module = nullptr; // HMODULE
};
