#pragma once
#include "sdk/abort_callback.h"
#include "sdk/service.h"

// The application-wide abort token, set when the player shuts down. Exists exactly once.
class app_abort : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xef4638a6, 0x6492, 0x405f, {0x9f, 0x98, 0x47, 0x95, 0x1f, 0x18, 0xac, 0x9e}};

    // Valid as long as the player's process.
    virtual abort_callback& get_token() noexcept = 0;

protected:
    ~app_abort() = default;
};
