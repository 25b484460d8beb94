#pragma once
// The audio buses of a VST 3 component: what they are, what they were moved to, and the buffers that a
// process call hands over for them. The first main bus of each direction carries the pipe's audio, or, when
// it is mono and more channels are wanted, as many mono main buses as there are channels. The others are
// inactive, with silence in and an ear that nobody listens to out. GUI thread, but for the buffers.

#include "vsthost/audio_io.h"
#include "vsthost/layout.h"
#include "vsthost/vst3/vst3_abi.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vsthost::v3 {

struct audio_bus {
    std::string name;
    bool main = false;
    uint64_t arrangement = 0;
    uint32_t channels = 0;
};

class bus_side {
public:
    // Reads the buses as they are now, to carry `wanted_channels` if they can.
    void read(const ref<v3_component>& component, const ref<v3_audio_processor>& processor, int32_t direction,
              uint32_t wanted_channels);

    int32_t count() const noexcept { return static_cast<int32_t>(buses_.size()); }
    const std::vector<audio_bus>& buses() const noexcept { return buses_; }
    // What is in use, in one.
    channel_layout main_layout() const;
    // Every bus as it is, the first main one replaced; never empty, for modules that look at the pointer.
    std::vector<uint64_t> arrangements_with(channel_layout main) const;
    // Those in use on, the others off.
    void activate(const ref<v3_component>& component, int32_t direction) const;

    // Buffers for `block_size` samples; the buses in use take `main32` or `main64` (null: the other size) in
    // turn.
    void allocate(size_t block_size, float** main32, double** main64);
    v3_audio_bus_buffers* buffers() noexcept { return buffers_.data(); }
    // Before each call: channels of other buses are silence.
    void begin_block(uint64_t main_silence) noexcept;
    uint64_t main_silence() const noexcept;

private:
    bool in_use(size_t bus) const noexcept;

    std::vector<audio_bus> buses_;
    std::vector<size_t> main_; // the buses in use; several only when each is mono
    std::vector<v3_audio_bus_buffers> buffers_{1};
    std::vector<std::vector<float*>> pointers32_;
    std::vector<std::vector<double*>> pointers64_;
    std::vector<double> spare_; // one block, shared by the channels nobody uses, as either type
    bool clears_spare_ = false;
};

} // namespace vsthost::v3
