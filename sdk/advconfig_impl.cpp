#include "sdk/advconfig_impl.h"

#include "sdk/config_store.h"
#include "sdk/host_api.h"

std::string advconfig_switch::key() const
{
    return "advconfig.unnamed." + guid_text(guid);
}

bool advconfig_switch::get() const
{
    return service_get_unique<config_store>()->get_bool(key().c_str(), default_state);
}

void advconfig_switch::set(bool state) const
{
    service_get_unique<config_store>()->set_bool(key().c_str(), state);
}
