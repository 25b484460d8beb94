#pragma once
// The component's settings, kept in the player's configuration store. Global, read at the moment of use.

#include "sdk/guid.h"

// An on/off switch. Any thread. Throws exception_host_bug_check without a configuration store.
class bool_setting {
public:
    constexpr bool_setting(const guid_t& guid, bool fallback) noexcept
        : guid_(guid)
        , fallback_(fallback)
    {
    }
    bool get() const;

private:
    guid_t guid_;
    bool fallback_;
};

// The DSP hands out what an effect still has to say at the end of a stream.
inline constexpr bool_setting
    cfg_process_tail({0x17f04bf0, 0x5745, 0x462f, {0x92, 0x9c, 0xe7, 0xf2, 0x30, 0xf5, 0x1f, 0x5a}}, false);
