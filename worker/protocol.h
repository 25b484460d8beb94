#pragma once
// The one description of what travels on a worker's pipe. Included by the component, the workers and the
// programs that stand in for them in tests; pure, no dependency.
//
// The pipe is a byte stream without message boundaries. Everything is little-endian. A command is its code
// and a byte count, a 32-bit word each, then that many bytes of payload. Audio is interleaved 64-bit IEEE
// floats.
//
//   code           payload and reply
//   cmdProcess     N frames of input channels x 8 bytes;
//                  reply: N frames of output channels x 8 bytes, then the latency in samples (u32)
//   cmdSetState    the effect's state; no reply
//   cmdSetFormat   one streamFormat; reply: one streamFormat
//   cmdDrainTail   none (count 0); reply: byte count T (u32), then T bytes of audio, laid out as the input
//   cmdReset       none (count 0); no reply
//
// In mode "configure-live" the player sends cmdSetFormat and cmdProcess in the same form and reads no reply.

#include <bit>
#include <cstdint>

namespace Nv {

static_assert(std::endian::native == std::endian::little, "words and samples travel as they lie in memory");

enum command : uint32_t {
    cmdProcess = 1,
    cmdSetState = 2,
    cmdSetFormat = 3,
    cmdDrainTail = 4,
    cmdReset = 5,
};

struct commandHeader {
    uint32_t code;
    uint32_t byteCount; // of the payload that follows
};
static_assert(sizeof(commandHeader) == 8);

// Request: what the player will send (in*) and would like back (out*). Reply: what the worker takes and
// gives. Masks are speaker bits as in WAVEFORMATEXTENSIBLE; 0 means "not known".
struct streamFormat {
    uint32_t sampleRate; // Hz
    uint32_t inChannels;
    uint32_t inChannelMask;
    uint32_t outChannels;
    uint32_t outChannelMask;

    friend bool operator==(const streamFormat&, const streamFormat&) = default;
};
static_assert(sizeof(streamFormat) == 20);

constexpr uint32_t bytesPerSample = 8;

} // namespace Nv
