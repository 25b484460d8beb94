#pragma once
// A player that has just the services a test gives it. Builds natively as well.

#include "sdk/abort_callback.h"
#include "sdk/host_api.h"
#include "support/memory_store.h"

#include <utility>
#include <vector>

// This module's host while it lives.
class small_host final : public host_api {
public:
    small_host() { core_api::set_host(this); }
    ~small_host() { core_api::set_host(nullptr); }
    small_host(const small_host&) = delete;
    small_host& operator=(const small_host&) = delete;

    template <class Service, class... Args>
    service_ptr_t<Service> add(Args&&... args)
    {
        auto service = service_new<Service>(std::forward<Args>(args)...);
        services_.emplace_back(Service::service_interface::class_guid, service);
        return service;
    }
    void remove_all() { services_.clear(); }

    uint32_t get_version() const noexcept override { return current_version; }
    size_t get_service_count(const guid_t& class_guid) const noexcept override
    {
        size_t count = 0;
        for (const auto& [guid, service] : services_)
            count += guid == class_guid;
        return count;
    }
    void get_service(service_ptr_t<service_base>& out, const guid_t& class_guid, size_t index) override
    {
        out.release();
        for (const auto& [guid, service] : services_) {
            if (guid == class_guid && index-- == 0) {
                out = service;
                return;
            }
        }
    }
    void* get_main_window() const noexcept override { return nullptr; }
    bool is_main_thread() const noexcept override { return true; }
    bool is_shutting_down() const noexcept override { return false; }
    bool are_services_available() const noexcept override { return true; }

private:
    std::vector<std::pair<guid_t, service_ptr_t<service_base>>> services_;
};

// For streams in memory, which never ask it.
class idle_token final : public abort_callback {
public:
    bool is_aborting() const noexcept override { return false; }
    void* get_abort_event() const noexcept override { return nullptr; }
};
