#pragma once
// The binary interface of VST 2: the structures of the interface header, with the callback's type as it
// really is and names for the numbers that the header leaves unnamed.

#include <cstddef>
#include <cstdint>

#include <vst2/vst.h>

namespace vsthost::v2 {

constexpr int32_t magic = 0x56737450; // "VstP"
constexpr int32_t host_version = 2400;
// Texts that a module writes: some write more than the format allows.
constexpr size_t text_size = 256;

// Host to effect.
enum effect_call : int32_t {
    effect_open = 0,
    effect_close = 1,
    effect_set_program = 2,
    effect_get_program = 3,
    effect_get_parameter_label = 6,
    effect_get_parameter_display = 7,
    effect_get_parameter_name = 8,
    effect_set_sample_rate = 10,
    effect_set_block_size = 11,
    effect_mains_changed = 12,
    effect_get_editor_rectangle = 13,
    effect_editor_open = 14,
    effect_editor_close = 15,
    effect_editor_idle = 19,
    effect_get_chunk = 23,
    effect_set_chunk = 24,
    effect_text_to_parameter = 27,
    effect_set_speaker_arrangement = 42,
    effect_get_name = 45,
    effect_get_vendor = 47,
    effect_get_product = 48,
    effect_get_tail_size = 52,
    effect_idle = 53,
    effect_editor_key_down = 59,
    effect_editor_key_up = 60,
    effect_begin_set_program = 67,
    effect_end_set_program = 68,
    effect_shell_next = 70,
    effect_start_process = 71,
    effect_stop_process = 72,
    effect_set_precision = 77,
};

// Effect to host.
enum host_call : int32_t {
    host_automate = 0,
    host_version_asked = 1,
    host_current_id = 2,
    host_idle = 3,
    host_get_time = 7,
    host_io_changed = 13,
    host_need_idle = 14,
    host_size_window = 15,
    host_get_sample_rate = 16,
    host_get_block_size = 17,
    host_process_level = 23,
    host_get_vendor = 32,
    host_get_product = 33,
    host_get_vendor_version = 34,
    host_can_do = 37,
    host_get_language = 38,
    host_get_directory = 41,
    host_update_display = 42,
    host_begin_edit = 43,
    host_end_edit = 44,
};

enum effect_flag : int32_t {
    flag_has_editor = 1 << 0,
    flag_can_replacing = 1 << 4,
    flag_program_chunks = 1 << 5,
    flag_can_double = 1 << 12,
};

// The header's own structure is not the one on the wire: in C++ its enum of types is 64 bits wide.
struct speaker_arrangement {
    int32_t type;
    int32_t channels;
    vst_speaker_properties speakers[VST_MAX_CHANNELS];
};
static_assert(sizeof(vst_speaker_properties) == 112);
static_assert(offsetof(speaker_arrangement, speakers) == 8);

struct rectangle {
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
};

// What the effect may ask for the time; as it lies in memory.
struct time_info {
    double sample_position;
    double sample_rate;
    double nanoseconds;
    double quarter_position;
    double tempo;
    double bar_start;
    double cycle_start;
    double cycle_end;
    int32_t numerator;
    int32_t denominator;
    int32_t smpte_offset;
    int32_t smpte_rate;
    int32_t samples_to_clock;
    int32_t flags;
};
enum time_flag : int32_t {
    time_playing = 1 << 1,
    time_quarters_valid = 1 << 9,
    time_tempo_valid = 1 << 10,
    time_bars_valid = 1 << 11,
    time_signature_valid = 1 << 13,
};

using host_callback = intptr_t(__cdecl*)(vst_effect* effect, int32_t opcode, int32_t index, intptr_t value,
                                         void* pointer, float option);
using entry_function = vst_effect*(__cdecl*)(host_callback callback);

} // namespace vsthost::v2
