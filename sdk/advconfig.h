#pragma once
// Entries of the player's advanced preferences: a tree of branches with checkboxes as leaves. The player
// shows what it finds under these classes and calls on the main thread, except get_state, which any thread
// may call.

#include "sdk/service.h"
#include "sdk/string_out.h"

class advconfig_branch : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x7cd6342b, 0x9a87, 0x4539, {0xb3, 0x3b, 0xb3, 0x79, 0xa5, 0x02, 0x23, 0xa2}};

    virtual void get_name(string_out& out) const = 0;
    virtual guid_t get_guid() const noexcept = 0;
    virtual guid_t get_parent() const noexcept = 0;        // the branch that this one hangs from
    virtual double get_sort_priority() const noexcept = 0; // lower comes first, equal ones by name

protected:
    ~advconfig_branch() = default;
};

class advconfig_entry : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x6c6a137b, 0x1bf3, 0x4cc6, {0xa3, 0xbd, 0x2a, 0x98, 0x92, 0x06, 0x73, 0x7a}};

    virtual void get_name(string_out& out) const = 0;
    virtual guid_t get_guid() const noexcept = 0;
    virtual guid_t get_parent() const noexcept = 0;
    virtual double get_sort_priority() const noexcept = 0;
    virtual void reset() = 0; // back to the default, stored at once

protected:
    ~advconfig_entry() = default;
};

class advconfig_entry_checkbox : public advconfig_entry {
public:
    using parent = advconfig_entry;
    static constexpr guid_t class_guid = {
        0x0fa62cfd, 0xe4d3, 0x4e4f, {0xbd, 0xdc, 0xa3, 0xc1, 0x57, 0x42, 0xe6, 0x03}};

    virtual bool get_state() const = 0;
    virtual void set_state(bool state) = 0; // stored at once
    virtual bool is_radio() const noexcept = 0;

protected:
    ~advconfig_entry_checkbox() = default;
};

class advconfig_entry_checkbox_v2 : public advconfig_entry_checkbox {
public:
    using parent = advconfig_entry_checkbox;
    static constexpr guid_t class_guid = {
        0x781775a5, 0x4c4d, 0x4b92, {0xbb, 0x41, 0xca, 0xa3, 0xf1, 0x43, 0x9b, 0x90}};

    virtual bool get_default_state() const noexcept = 0;
    virtual uint32_t get_preferences_flags() const noexcept = 0; // none are defined so far

protected:
    ~advconfig_entry_checkbox_v2() = default;
};
