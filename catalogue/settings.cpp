#include "catalogue/settings.h"

#include "sdk/config_store.h"
#include "sdk/host_api.h"

bool bool_setting::get() const
{
    const std::string key = "advconfig.unnamed." + guid_text(guid_);
    return service_get_unique<config_store>()->get_bool(key.c_str(), fallback_);
}
