#include "sdk/host_api.h"

#include <atomic>

namespace {
std::atomic<host_api*> current_host{nullptr};
}

void core_api::set_host(host_api* host) noexcept
{
    current_host = host;
}

host_api& core_api::get_host()
{
    if (host_api* host = current_host)
        return *host;
    throw exception_host_bug_check("core_api::get_host: no host");
}

void core_api::ensure_main_thread()
{
    if (!get_host().is_main_thread())
        throw exception_host_bug_check("core_api::ensure_main_thread");
}

void core_api::get_unique_service(service_ptr_t<service_base>& out, const guid_t& class_guid)
{
    host_api& host = get_host();
    if (host.get_service_count(class_guid) == 1)
        host.get_service(out, class_guid, 0);
    if (!out)
        throw exception_host_bug_check("service " + guid_text(class_guid) + " must exist exactly once");
}
