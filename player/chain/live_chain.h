#pragma once
// The DSP chain of the running player: edited on the main thread, taken over by the audio thread between two
// chunks. Neither waits for the other: what they share is one pointer to an unchanging list. Pure.

#include "sdk/dsp_chain_config.h"
#include "sdk/dsp_preset_impl.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace player {

struct chain_slot {
    uint64_t id = 0; // of this DSP, through edits and moves; never used again
    dsp_preset_impl preset;
    bool enabled = true; // switched-off DSPs keep their place
};
using chain_slots = std::vector<std::shared_ptr<const chain_slot>>;

class live_chain {
public:
    live_chain();
    live_chain(const live_chain&) = delete;
    live_chain& operator=(const live_chain&) = delete;

    // Any thread: the list as it is. It stays as it is; a change makes another.
    std::shared_ptr<const chain_slots> get() const;

    // Main thread. Ids that are not in the chain (any more) do nothing: who holds one may be late.
    uint64_t add(const dsp_preset& preset, bool enabled = true); // at the end
    void remove(uint64_t id);
    void move(uint64_t id, size_t index); // to that place; behind the last one counts as the last
    void enable(uint64_t id, bool enabled);
    void set_preset(uint64_t id, const dsp_preset& preset);
    // Everything at once: what is equal at both ends is kept, and in between one DSP after the other, as long
    // as their owners agree, takes its successor's preset.
    void set_all(const dsp_chain_config& presets);

    // Called after each change, on the main thread. Empty: nobody.
    void set_changed(std::function<void()> changed) { changed_ = std::move(changed); }

    // How many show what the DSPs hear, see dsp_config_manager_v2.
    std::shared_ptr<std::atomic<int>> holders() const noexcept { return holders_; }

private:
    void publish(chain_slots slots);

    std::function<void()> changed_;
    uint64_t last_id_ = 0;
    std::shared_ptr<std::atomic<int>> holders_ = std::make_shared<std::atomic<int>>(0);
    mutable std::mutex mutex_; // guards the pointer, for as long as copying it takes
    std::shared_ptr<const chain_slots> slots_;
};

// The one of that id; null when there is none.
const chain_slot* find_slot(const chain_slots& slots, uint64_t id) noexcept;

} // namespace player
