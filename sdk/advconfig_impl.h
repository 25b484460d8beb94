#pragma once
// A component's side of the advanced preferences: factories to be defined beside its other service factories.

#include "sdk/advconfig.h"
#include "sdk/service_factory.h"

#include <string>

// What a component says of one switch. Texts are static. The value lives in the configuration store only; it
// is read at the moment of use, so that a change takes effect at once.
struct advconfig_switch {
    const char* name; // UTF-8
    guid_t guid;
    bool default_state;

    std::string key() const; // in the configuration store
    // Any thread. These throw exception_host_bug_check unless there is exactly one configuration store.
    bool get() const;
    void set(bool state) const;
};

class advconfig_branch_impl : public advconfig_branch {
public:
    using service_class = advconfig_branch;
    using service_interface = advconfig_branch;

    advconfig_branch_impl(const char* name, const guid_t& guid, const guid_t& parent_branch,
                          double priority) noexcept
        : name_(name)
        , guid_(guid)
        , parent_(parent_branch)
        , priority_(priority)
    {
    }
    void get_name(string_out& out) const override { set_text(out, name_); }
    guid_t get_guid() const noexcept override { return guid_; }
    guid_t get_parent() const noexcept override { return parent_; }
    double get_sort_priority() const noexcept override { return priority_; }

private:
    const char* name_;
    guid_t guid_;
    guid_t parent_;
    double priority_;
};

class advconfig_entry_checkbox_impl : public advconfig_entry_checkbox_v2 {
public:
    using service_class = advconfig_entry;
    using service_interface = advconfig_entry_checkbox_v2;

    advconfig_entry_checkbox_impl(const advconfig_switch& setting, const guid_t& parent_branch,
                                  double priority, bool radio = false,
                                  uint32_t preferences_flags = 0) noexcept
        : setting_(setting)
        , parent_(parent_branch)
        , priority_(priority)
        , radio_(radio)
        , flags_(preferences_flags)
    {
    }
    void get_name(string_out& out) const override { set_text(out, setting_.name); }
    guid_t get_guid() const noexcept override { return setting_.guid; }
    guid_t get_parent() const noexcept override { return parent_; }
    double get_sort_priority() const noexcept override { return priority_; }
    void reset() override { set_state(setting_.default_state); }
    bool get_state() const override { return setting_.get(); }
    void set_state(bool state) override { setting_.set(state); }
    bool is_radio() const noexcept override { return radio_; }
    bool get_default_state() const noexcept override { return setting_.default_state; }
    uint32_t get_preferences_flags() const noexcept override { return flags_; }

private:
    advconfig_switch setting_;
    guid_t parent_;
    double priority_;
    bool radio_;
    uint32_t flags_;
};

// Constructor arguments are those of the implementations above.
using advconfig_branch_factory = service_factory_single_t<advconfig_branch_impl>;
using advconfig_checkbox_factory_ = service_factory_single_t<advconfig_entry_checkbox_impl>;
