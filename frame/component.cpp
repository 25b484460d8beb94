#include "frame/component.h"

#include "frame/wiring.h"
#include "sdk/cfg_var.h"
#include "worker/startWorker.h"

component& component::get() noexcept
{
    static component instance;
    return instance;
}

void component::write_config(stream_writer& out, abort_callback& abort)
{
    cfg_var_modern::write_all(out, abort);
}

void component::read_config(stream_reader& in, size_t byte_count, abort_callback& abort)
{
    cfg_var_modern::read_all(in, byte_count, abort);
}

void component::set_library_path(const char* path, const char* name)
{
    Nv::setComponentPath(path);
    module_name_ = name;
}

extern "C" __declspec(dllexport) component_client* quavix_get_interface(host_api* host)
{
    if (!host || host->get_version() < host_api::current_version)
        return nullptr;
    core_api::set_host(host);
    static const bool wired = (wire_rooms(), true);
    static_cast<void>(wired);
    return &component::get();
}
