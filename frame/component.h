#pragma once
// The one object that the player gets from this module.

#include "sdk/component_client.h"

#include <string>

// Lives as long as the module. Main thread.
class component final : public component_client {
public:
    static component& get() noexcept;

    uint32_t get_version() const noexcept override { return current_version; }
    service_factory_base* get_service_list() const noexcept override
    {
        return service_factory_base::get_list();
    }
    // The persisted variables as one block of bytes. The player may keep it or not: every change of a setting
    // is stored when it is made.
    void write_config(stream_writer& out, abort_callback& abort) override;
    void read_config(stream_reader& in, size_t byte_count, abort_callback& abort) override;
    void set_library_path(const char* path, const char* name) override;
    void services_init(bool initialised) override { services_initialised_ = initialised; }
    bool is_debug() const noexcept override { return false; }

    bool services_initialised() const noexcept { return services_initialised_; }
    const std::string& module_name() const noexcept { return module_name_; }

private:
    component() = default;

    std::string module_name_;
    bool services_initialised_ = false;
};
