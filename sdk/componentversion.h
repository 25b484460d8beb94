#pragma once
#include "sdk/service.h"
#include "sdk/string_out.h"

// What the player shows of a component in its list of components: one line each. Any thread.
class componentversion : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xdf780a52, 0xa60b, 0x4b3b, {0x88, 0x35, 0x39, 0xad, 0x18, 0xcb, 0x0d, 0x30}};

    virtual void get_component_name(string_out& out) const = 0;
    virtual void get_component_version(string_out& out) const = 0;
    virtual void get_about_message(string_out& out) const = 0;

protected:
    ~componentversion() = default;
};
