#pragma once
// The audio buses of a VST 3 component: what they are, what they were moved to, and the buffers that a
// process call hands over for them. The main bus of each direction carries the pipe's audio; the others are
// inactive, with silence in and an ear that nobody listens to out. GUI thread, but for the buffers.

#include "vsthost/audio_io.h"
#include "vsthost/layout.h"
#include "vsthost/vst3_abi.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace vsthost::v3 {

struct audio_bus {
    bool main = false;
    uint64_t arrangement = 0;
    uint32_t channels = 0;
};

class bus_side {
public:
    // Reads the buses as they are now; the first main bus is the one in use.
    void read(const ref<v3_component>& component, const ref<v3_audio_processor>& processor,
              int32_t direction);

    int32_t count() const noexcept { return static_cast<int32_t>(buses_.size()); }
    const std::vector<audio_bus>& buses() const noexcept { return buses_; }
    std::optional<size_t> main() const noexcept { return main_; }
    channel_layout main_layout() const;
    // Every bus as it is, the main one replaced; never empty, for modules that look at the pointer.
    std::vector<uint64_t> arrangements_with(channel_layout main) const;
    // Main on, the others off.
    void activate(const ref<v3_component>& component, int32_t direction) const;

    // Buffers for `block_size` samples; the main bus uses `main32` or `main64` (null: the other size).
    void allocate(size_t block_size, float** main32, double** main64);
    v3_audio_bus_buffers* buffers() noexcept { return buffers_.data(); }
    // Before each call: channels other than the main bus's are silence.
    void begin_block(uint64_t main_silence) noexcept;
    uint64_t main_silence() const noexcept;

private:
    std::vector<audio_bus> buses_;
    std::optional<size_t> main_;
    std::vector<v3_audio_bus_buffers> buffers_{1};
    std::vector<std::vector<float*>> pointers32_;
    std::vector<std::vector<double*>> pointers64_;
    std::vector<double> spare_; // one block, shared by the channels nobody uses, as either type
    bool clears_spare_ = false;
};

} // namespace vsthost::v3
