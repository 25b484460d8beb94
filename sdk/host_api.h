#pragma once
// What the player gives a component, and the look-up helpers built on it.

#include "sdk/exceptions.h"
#include "sdk/service.h"

// The player's API object. Lives longer than the component's module. Every operation from any thread.
class host_api {
public:
    static constexpr uint32_t current_version = 1;

    // The version of this interface; a component refuses to run with a lower one than it was built for.
    virtual uint32_t get_version() const noexcept = 0;
    // How many services are registered under a class, the player's and all components'. 0 before the services
    // are available.
    virtual size_t get_service_count(const guid_t& class_guid) const noexcept = 0;
    // A counted reference to one of them; empty when the index is not below the count.
    virtual void get_service(service_ptr_t<service_base>& out, const guid_t& class_guid, size_t index) = 0;
    virtual void* get_main_window() const noexcept = 0; // HWND, null when there is none
    virtual bool is_main_thread() const noexcept = 0;
    virtual bool is_shutting_down() const noexcept = 0;
    virtual bool are_services_available() const noexcept = 0;

protected:
    ~host_api() = default;
};

namespace core_api {

// The host pointer of this module: set once by the module's entry before any service is used, null before.
void set_host(host_api* host) noexcept;
// Throws exception_host_bug_check while there is none.
host_api& get_host();

// Throws exception_host_bug_check "core_api::ensure_main_thread" when called on any other thread.
void ensure_main_thread();

// The service that must exist exactly once under its class; any other count throws exception_host_bug_check.
void get_unique_service(service_ptr_t<service_base>& out, const guid_t& class_guid);

} // namespace core_api

// The one service of class T (see get_unique_service).
template <class T>
service_ptr_t<T> service_get_unique()
{
    service_ptr_t<service_base> found;
    core_api::get_unique_service(found, T::class_guid);
    service_ptr_t<T> typed = service_query_as<T>(*found);
    if (!typed)
        throw exception_host_bug_check("forced cast failure");
    return typed;
}

// Calls `visit(T&)` for each service of class T; stops when it returns false.
template <class T, class Visit>
void service_enumerate(Visit&& visit)
{
    host_api& host = core_api::get_host();
    const size_t count = host.get_service_count(T::class_guid);
    for (size_t i = 0; i < count; ++i) {
        service_ptr_t<service_base> found;
        host.get_service(found, T::class_guid, i);
        if (!found)
            continue;
        if (service_ptr_t<T> typed = service_query_as<T>(*found); typed && !visit(*typed))
            return;
    }
}
