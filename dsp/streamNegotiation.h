#pragma once
// The arithmetic of agreeing on an audio format with a worker, and of laying its samples out for the player.
// Pure.

#include "worker/protocol.h"

#include <cstddef>
#include <cstdint>

struct audioFormat {
    uint32_t rate = 0; // Hz
    uint32_t channels = 0;
    uint32_t mask = 0;

    friend bool operator==(const audioFormat&, const audioFormat&) = default;
};

struct negotiatedFormat {
    audioFormat worker; // what the worker sends
    audioFormat output; // what the player gets
};

// More output channels than this are taken for garbage.
constexpr uint32_t maxWorkerChannels = 256;

// What is asked of the worker; `outputMask` is the effect record's override, 0 for none.
Nv::streamFormat makeFormatRequest(const audioFormat& input, uint32_t outputMask);

// Checks the worker's answer. Throws std::runtime_error with "Invalid reply when setting audio format", or
// with a text that starts with "VST refused audio stream format" and says what was offered and what is
// wanted.
negotiatedFormat acceptFormatReply(const audioFormat& input, Nv::streamFormat reply, uint32_t outputMask);

// Copies frames of `sourceChannels` interleaved samples to frames of `targetChannels`: channels that are too
// many are dropped, channels that are missing become 0.0. Samples are copied as bytes, so that every bit
// pattern survives.
void remapChannels(double* target, uint32_t targetChannels, const void* source, uint32_t sourceChannels,
                   size_t frames) noexcept;
