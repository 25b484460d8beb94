#pragma once
#include "player/chain/live_chain.h"
#include "sdk/dsp_config_manager.h"

namespace player {

// The live chain as components see it: every DSP, the ones that are switched off too, since each has its
// entry in lists and menus. The chain outlives the service's last use.
class chain_service : public dsp_config_manager_v2 {
public:
    using service_interface = dsp_config_manager_v2;

    explicit chain_service(live_chain& chain)
        : chain_(chain)
    {
    }
    // Both throw exception_host_bug_check off the main thread.
    void get_chain(dsp_chain_config& out) override;
    void set_chain(const dsp_chain_config& chain) override;
    void hold_instances(service_ptr_t<service_base>& out) override;

private:
    live_chain& chain_;
};

} // namespace player
