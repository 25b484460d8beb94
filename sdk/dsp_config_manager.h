#pragma once
#include "sdk/dsp_chain_config.h"
#include "sdk/service.h"

// The player's DSP chain. Exists exactly once. Main thread only.
class dsp_config_manager : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xee65d408, 0x70d6, 0x40f6, {0x94, 0x0d, 0xd9, 0xf5, 0x37, 0xf1, 0xbe, 0xf1}};

    // Replaces what is in `out` by the chain as it is.
    virtual void get_chain(dsp_chain_config& out) = 0;
    // The chain becomes this. A DSP that plays takes a changed preset over where it can (dsp_v3), else it is
    // made anew; neither is waited for. Still stored during the quit actions.
    virtual void set_chain(const dsp_chain_config& chain) = 0;

protected:
    ~dsp_config_manager() = default;
};

class dsp_config_manager_v2 : public dsp_config_manager {
public:
    using parent = dsp_config_manager;
    static constexpr guid_t class_guid = {
        0xc8043869, 0xa1a9, 0x4089, {0xa3, 0x83, 0x94, 0xd9, 0x3b, 0xdd, 0xbb, 0xc7}};

    // For whoever shows what the chain's DSPs hear, for as long as he does: while the object lives, the
    // player may keep DSPs of a paused playback that it would release otherwise. Any thread, also the last
    // release.
    virtual void hold_instances(service_ptr_t<service_base>& out) = 0;

protected:
    ~dsp_config_manager_v2() = default;
};
