#pragma once
// The record of one chosen effect, and the bytes it becomes inside a DSP preset. Pure: no operating system.

#include "sdk/dsp_preset.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// Plain value: copies are deep, nothing is shared. Strings are UTF-8 bytes.
struct vstConfig_t {
    std::string path; // full path of the module file; the effect's identity, see sameEffect
    std::string name;
    std::string arch;       // "x86", "x64" or "ARM64"; other values are carried as they are
    int32_t vstVersion = 0; // 2 or 3; 0 in the empty record
    uint32_t flags = 0;     // vstFlagFloat64; unknown bits are kept
    // Speaker bits as in audio_chunk; 0: the effect's output is laid out as its input.
    uint32_t outputChannelMask = 0;
    std::vector<uint8_t> state; // the effect's own bytes, never looked into

    friend bool operator==(const vstConfig_t&, const vstConfig_t&) = default;
};

// Bit of vstConfig_t::flags: process in 64-bit instead of 32-bit floating point.
constexpr uint32_t vstFlagFloat64 = 2;

// The values of outputChannelMask that a user is offered, in the order they are shown. 0 is "no override".
constexpr std::array<uint32_t, 11> offeredOutputChannelMasks = {0,    0x4,  0x3,  0xB,   0x7,  0x33,
                                                                0x3B, 0x37, 0x3F, 0x60F, 0x63F};

// Owner of all presets of this component, and the GUID of its DSP entry.
constexpr guid_t vstPresetOwner = {
    0x937f4ca5, 0x6f0e, 0x4d59, {0xba, 0x9c, 0x63, 0x48, 0xdd, 0x1f, 0xa9, 0xe0}};

// Reads the record from a preset; every layout ever written is understood. Empty data yields the empty
// record. Throws exception_io_data for a foreign owner, also with empty data, and for bytes that are no
// record; exception_io_data_truncation, which has the same text, when they end too early.
vstConfig_t vstConfigFromPreset(const dsp_preset& preset);
// The same into an existing record: all its fields are replaced, or none when this throws.
void vstConfigFromPreset(const dsp_preset& preset, vstConfig_t& out);

// Writes owner and data of `out`, always in the current layout. Texts end at their first NUL byte. The empty
// record is written like any other but cannot be read back, since 0 is no VST version: a preset without an
// effect is one with empty data (clearPreset).
void vstConfigToPreset(const vstConfig_t& config, dsp_preset& out);
// The preset of "no effect": this component's owner, no data.
void clearPreset(dsp_preset& out);

// "NAME (VST v3, 64-bit)", as lists of effects show it.
std::string displayName(const vstConfig_t& config);

// True when both records denote the same effect: byte-equal paths, whatever the rest says.
bool sameEffect(const vstConfig_t& a, const vstConfig_t& b) noexcept;
