#pragma once
#include "sdk/service.h"
#include "sdk/string_out.h"

// The player's configuration store: texts and switches by key. Exists exactly once. Any thread; a value that
// was set is on its way to the disk when the call returns, and a crash never leaves a half-written store.
// Setting throws std::exception when the value cannot be kept; the old one stays then.
class config_store : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x4dba4c7e, 0xb27d, 0x4275, {0xa3, 0x58, 0x9f, 0x68, 0x4f, 0xc7, 0xe1, 0xb9}};

    // Keys and texts are UTF-8 and terminated. A key that was never set yields the fallback.
    virtual void get_string(const char* key, const char* fallback, string_out& out) const = 0;
    virtual void set_string(const char* key, const char* value) = 0;
    virtual bool get_bool(const char* key, bool fallback) const = 0;
    virtual void set_bool(const char* key, bool value) = 0;

protected:
    ~config_store() = default;
};
