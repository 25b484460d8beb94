#pragma once
#include "sdk/service.h"

// Actions at the player's start and end, on the main thread. on_init runs once all services are available,
// on_quit before they go away: the application's abort token is set by then and the component's DSP instances
// are gone, every service still answers. What they throw (std::exception) is logged at the end and fails the
// start.
class initquit : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x938c228a, 0x1238, 0x452d, {0xba, 0xd3, 0x13, 0x92, 0xa9, 0x67, 0x07, 0x71}};

    virtual void on_init() = 0;
    virtual void on_quit() = 0;

protected:
    ~initquit() = default;
};
