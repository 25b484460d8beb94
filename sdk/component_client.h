#pragma once
// The one object that a component hands to the player, and the exported function that exchanges it. A
// component links the sdk library into its module, and the C++ runtime as the shared libraries that lie
// beside the player (see sdk/exceptions.h).

#include "sdk/abort_callback.h"
#include "sdk/host_api.h"
#include "sdk/service_factory.h"
#include "sdk/stream.h"

// Owned by the component, valid until its module is unloaded. Called on the main thread. What an operation
// throws (std::exception) costs the player that operation, nothing else.
class component_client {
public:
    static constexpr uint32_t current_version = 81;

    virtual uint32_t get_version() const noexcept = 0;
    virtual service_factory_base* get_service_list() const noexcept = 0;
    // The component's persisted variables as bytes of its own making, and back.
    virtual void write_config(stream_writer& out, abort_callback& abort) = 0;
    virtual void read_config(stream_reader& in, size_t byte_count, abort_callback& abort) = 0;
    // UTF-8, terminated, valid during the call: the full path of the component's module, and its file name.
    // Called before any service is requested.
    virtual void set_library_path(const char* path, const char* name) = 0;
    // True once the player has started all services, false when it begins to shut them down.
    virtual void services_init(bool initialised) = 0;
    virtual bool is_debug() const noexcept = 0;

protected:
    ~component_client() = default;
};

// Exported as "quavix_get_interface", extern "C" and with the compiler's default calling convention. Called
// once, before anything else; the component passes `host` to core_api::set_host. Null when the host's version
// is too low. Throws nothing.
using quavix_get_interface_t = component_client*(host_api* host);
