#pragma once
// The audio thread's side of a live_chain: its DSPs. Pure.

#include "player/chain/live_chain.h"
#include "sdk/dsp.h"

#include <chrono>
#include <stdexcept>
#include <string>

namespace player {

// A DSP failed. Its text is the DSP's own.
struct dsp_failure : std::runtime_error {
    dsp_failure(uint64_t failed, const std::string& reason)
        : std::runtime_error(reason)
        , slot(failed)
    {
    }
    uint64_t slot;
};

// One thread, but for starting().
class chain_runner {
public:
    // Makes a DSP of a preset, or throws std::exception.
    using maker_t = std::function<service_ptr_t<dsp_v2>(const dsp_preset& preset)>;
    chain_runner(const live_chain& chain, maker_t make);

    // Takes over what changed in the chain, then hands the chunks through all DSPs. A changed preset goes to
    // the DSP that plays where it takes it, else into a new one in its place. Throws exception_aborted, or
    // dsp_failure: the DSP that failed is gone then, and the next run begins with a new one; what is in
    // `chunks` is of no use.
    void run(dsp_chunk_list& chunks, uint32_t flags, abort_callback& abort);
    void flush();
    double latency() const;  // seconds, of all together
    void release() noexcept; // all DSPs; the next run makes new ones

    // Whether the last run was the first one of a DSP.
    bool had_fresh() const noexcept { return had_fresh_; }
    // The slot whose DSP is in its first run, which may take a while; 0: none. Any thread.
    uint64_t starting() const noexcept { return starting_; }
    // The slot whose DSP is in a run that has taken longer than this; 0: none. Any thread.
    uint64_t running_longer_than(std::chrono::milliseconds limit) const noexcept;

private:
    struct instance {
        std::shared_ptr<const chain_slot> slot;
        service_ptr_t<dsp_v2> processor;
        bool fresh = true; // has not run yet
    };
    void take_over();
    instance make_instance(const std::shared_ptr<const chain_slot>& slot);
    void run_one(instance& each, dsp_chunk_list& chunks, uint32_t flags, abort_callback& abort);

    const live_chain& chain_;
    const maker_t make_;
    std::shared_ptr<const chain_slots> taken_; // as `instances_` shows it; null: not at all
    std::vector<instance> instances_;
    bool had_fresh_ = false;
    std::atomic<uint64_t> starting_{0};
    std::atomic<uint64_t> running_{0};
    std::atomic<std::chrono::steady_clock::time_point> since_{}; // when that began
};

} // namespace player
