#pragma once
// The VST 2 interface header with what it lacks or gets wrong.

#include <cstddef>
#include <cstdint>

#include <xaymar-vst2/vst.h>

namespace bare::vst2 {

inline constexpr int32_t magic = 0x56737450; // 'VstP'

// The header's callback type has a 64-bit value and an integer at the end: on x86 that shifts the arguments.
using host_callback = intptr_t(VST_FUNCTION_INTERFACE*)(vst_effect* effect, int32_t opcode, int32_t index,
                                                        intptr_t value, void* ptr, float opt);

// The header's enum of arrangement types is 64 bits wide in C++, so its structure is not the one on the wire.
struct speaker_arrangement {
    int32_t type;
    int32_t channels;
    vst_speaker_properties speakers[8];
};
static_assert(sizeof(vst_speaker_properties) == 112);
static_assert(sizeof(speaker_arrangement) == 904);

struct rect {
    int16_t top, left, bottom, right;
};

// Opcodes to the effect, by the names they have elsewhere.
enum effect_opcode : int32_t {
    op_open = 0,
    op_close = 1,
    op_get_program_name = 5,
    op_parameter_label = 6,
    op_parameter_display = 7,
    op_parameter_name = 8,
    op_set_sample_rate = 10,
    op_set_block_size = 11,
    op_mains_changed = 12,
    op_editor_rect = 13,
    op_editor_open = 14,
    op_editor_close = 15,
    op_editor_idle = 19,
    op_get_chunk = 23,
    op_set_chunk = 24,
    op_can_be_automated = 26,
    op_get_category = 35,
    op_set_speaker_arrangement = 42,
    op_effect_name = 45,
    op_vendor = 47,
    op_product = 48,
    op_vendor_version = 49,
    op_tail = 52,
    op_idle = 53,
    op_vst_version = 58,
    op_editor_key_down = 59,
    op_get_speaker_arrangement = 69,
    op_next_in_shell = 70,
};

// Opcodes to the host.
enum host_opcode : int32_t {
    host_automate = 0,
    host_version = 1,
    host_current_id = 2, // the class of a shell that is wanted
    host_io_changed = 13,
    host_need_idle = 14,
    host_size_window = 15,
    host_begin_edit = 43,
    host_end_edit = 44,
};

enum effect_flag : int32_t {
    flag_editor = 1 << 0,
    flag_replacing = 1 << 4,
    flag_chunks = 1 << 5,
    flag_synth = 1 << 8,
    flag_double = 1 << 12,
};

} // namespace bare::vst2
