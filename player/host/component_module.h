#pragma once
#include "sdk/component_client.h"

#include <windows.h>

#include <string>

namespace player {

// A loaded component: its module and what its one export handed out. Unloaded when this ends. Main thread.
class component_module {
public:
    // Throws player_error when the file is missing, is made for another processor, is no component or is one
    // of another generation. `host` outlives the module.
    component_module(const std::string& path, host_api& host);
    ~component_module();
    component_module(const component_module&) = delete;
    component_module& operator=(const component_module&) = delete;

    component_client& client() const noexcept { return *client_; }
    service_factory_base* services() const noexcept { return client_->get_service_list(); }

private:
    HMODULE module_ = nullptr;
    component_client* client_ = nullptr;
};

} // namespace player
