#pragma once
#include "sdk/service.h"

#include <cstddef>

// One MD5 computation, used by one thread at a time.
class md5_computation : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x0d3b8a6e, 0x7c25, 0x4f91, {0x8a, 0x4d, 0xe1, 0x60, 0x3f, 0xb9, 0x5c, 0x12}};

    virtual void process(const void* data, size_t byte_count) = 0;
    // The digest of what was processed so far: its 16 bytes in order are the GUID's memory.
    virtual guid_t get_result_guid() = 0;

protected:
    ~md5_computation() = default;
};

// The player's MD5 (RFC 1321). Exists exactly once. Any thread.
class hasher_md5 : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x4b897ec8, 0xa2f9, 0x478d, {0xa9, 0x5e, 0x1a, 0x21, 0x10, 0xa4, 0x00, 0x78}};

    virtual void begin(service_ptr_t<md5_computation>& out) = 0;

protected:
    ~hasher_md5() = default;
};
