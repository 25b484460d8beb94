#include "loaded_component.h"

#include "support/shipped.h"
#include "worker/startWorker.h"

#include <windows.h>

#include <stdexcept>

loaded_component::loaded_component()
{
    const std::string path = shipped("qvx_dsp_vst3.dll");
    const HMODULE loaded = LoadLibraryW(win::to_utf16(path).c_str());
    if (!loaded)
        throw std::runtime_error("cannot load " + path + ": " + std::to_string(GetLastError()));
    module = loaded;
    get_interface = reinterpret_cast<quavix_get_interface_t*>(
        reinterpret_cast<void*>(GetProcAddress(loaded, "quavix_get_interface")));
    client = get_interface ? get_interface(&host) : nullptr;
    if (!client) {
        FreeLibrary(loaded);
        throw std::runtime_error("no interface");
    }
}

loaded_component::~loaded_component()
{
    host.app_token.abort();
    if (host.wait_until_detached_done())
        FreeLibrary(static_cast<HMODULE>(module));
}

void loaded_component::use_scripted_workers()
{
    fake_worker::use_for_launches();
    client->set_library_path(Nv::componentPath().c_str(), "component.dll");
}

std::vector<service_factory_base*> loaded_component::factories() const
{
    std::vector<service_factory_base*> found;
    for (auto* factory = client->get_service_list(); factory; factory = factory->get_next())
        found.push_back(factory);
    return found;
}

service_ptr_t<dsp_entry_v4> loaded_component::entry() const
{
    return service_query_as<dsp_entry_v4>(*service<dsp_entry>());
}
