#include "dsp/streamNegotiation.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

constexpr uint32_t minRate = 1000;
constexpr uint32_t maxRate = 20000000;
constexpr uint32_t maxInputChannels = 32;

uint32_t channelsOf(uint32_t mask) noexcept
{
    return static_cast<uint32_t>(std::popcount(mask));
}

// A mask that does not fit its channel count says nothing.
uint32_t sanitisedMask(uint32_t mask, uint32_t channels) noexcept
{
    return channelsOf(mask) == channels ? mask : 0;
}

std::string refusalText(const audioFormat& offered, const Nv::streamFormat& wanted)
{
    const auto describe = [&](uint32_t rate, uint32_t channels) {
        const std::string text = std::to_string(channels) + "ch";
        return offered.rate == wanted.sampleRate ? text : std::to_string(rate) + "Hz " + text;
    };
    return "VST refused audio stream format - got: " + describe(offered.rate, offered.channels) +
           ", VST wants: " + describe(wanted.sampleRate, wanted.inChannels);
}

uint32_t defaultMask(uint32_t channels) noexcept
{
    constexpr uint32_t front_centre = 0x4;
    constexpr uint32_t front_left_right = 0x3;
    return channels == 1 ? front_centre : channels == 2 ? front_left_right : 0;
}

} // namespace

Nv::streamFormat makeFormatRequest(const audioFormat& input, uint32_t outputMask)
{
    Nv::streamFormat request = {input.rate, input.channels, input.mask, input.channels, input.mask};
    if (outputMask != 0) {
        request.outChannels = channelsOf(outputMask);
        request.outChannelMask = outputMask;
    }
    return request;
}

negotiatedFormat acceptFormatReply(const audioFormat& input, Nv::streamFormat reply, uint32_t outputMask)
{
    const char* const invalid = "Invalid reply when setting audio format";
    if (reply.sampleRate < minRate || reply.sampleRate > maxRate || reply.inChannels < 1 ||
        reply.inChannels > maxInputChannels)
        throw std::runtime_error(invalid);
    if (reply.sampleRate != input.rate || reply.inChannels != input.channels)
        throw std::runtime_error(refusalText(input, reply));
    if (reply.outChannels > maxWorkerChannels)
        throw std::runtime_error(invalid);

    negotiatedFormat agreed;
    agreed.worker = {input.rate, reply.outChannels, sanitisedMask(reply.outChannelMask, reply.outChannels)};
    agreed.output = agreed.worker;
    if (outputMask != 0) {
        agreed.output.channels = channelsOf(outputMask);
        agreed.output.mask = outputMask;
    } else if (agreed.output.mask == 0) {
        agreed.output.mask = defaultMask(agreed.output.channels);
    }
    return agreed;
}

void remapChannels(double* target, uint32_t targetChannels, const void* source, uint32_t sourceChannels,
                   size_t frames) noexcept
{
    const size_t targetStride = targetChannels * sizeof(double);
    const size_t sourceStride = sourceChannels * sizeof(double);
    if (targetStride == 0 || frames == 0)
        return;
    if (targetStride == sourceStride) {
        std::memcpy(target, source, targetStride * frames);
        return;
    }
    if (sourceStride == 0) {
        std::memset(target, 0, targetStride * frames);
        return;
    }
    const size_t copied = std::min(targetStride, sourceStride);
    auto* to = reinterpret_cast<unsigned char*>(target);
    const auto* from = static_cast<const unsigned char*>(source);
    for (size_t i = 0; i < frames; ++i) {
        std::memcpy(to, from, copied);
        if (copied < targetStride)
            std::memset(to + copied, 0, targetStride - copied);
        to += targetStride;
        from += sourceStride;
    }
}
