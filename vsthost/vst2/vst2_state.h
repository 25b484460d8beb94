#pragma once
// The state of a VST 2 effect on the pipe. Pure.
//
// An effect that keeps chunks of its own: an .fxb file with an opaque bank ("FBCh", big-endian), which other
// hosts read too; "FPCh" (one opaque program) and "FxCk" (a program's parameters) are read as well. An effect
// without chunks: "QVXP", little-endian: int32 version 1, int32 unique id, int32 program, int32 count, then
// every parameter as a 32-bit float, so that the program number is kept as the public formats do not.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vsthost {

struct vst2_state {
    int32_t unique_id = 0;
    std::optional<int32_t> program; // where the format keeps it
    bool is_chunk = false;          // else parameters
    bool whole_bank = true;         // of a chunk: the bank or one program
    std::span<const uint8_t> chunk; // a view into the image
    std::vector<float> parameters;
};

struct vst2_state_result {
    std::optional<vst2_state> state;
    std::string_view problem; // for people, when there is no state
};

vst2_state_result read_vst2_state(std::span<const uint8_t> image);

std::vector<uint8_t> write_vst2_chunk(int32_t unique_id, int32_t effect_version, int32_t program_count,
                                      int32_t program, std::span<const uint8_t> chunk);
std::vector<uint8_t> write_vst2_parameters(int32_t unique_id, int32_t program,
                                           std::span<const float> parameters);

} // namespace vsthost
