// A worker's answer to a format request: refused with a text, or agreed on as something that frames can be
// laid out for. The input is the offered format, the output override and the answer.

#include "dsp/streamNegotiation.h"
#include "fuzz/require.h"

#include <bit>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace {

// A mask that is not 0 has a bit for each channel.
void require_layout(const audioFormat& format)
{
    require(format.channels <= maxWorkerChannels);
    require(format.mask == 0 || static_cast<uint32_t>(std::popcount(format.mask)) == format.channels);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    struct {
        audioFormat offered;
        uint32_t output_mask;
        Nv::streamFormat reply;
    } input;
    if (size < sizeof(input))
        return 0;
    std::memcpy(&input, data, sizeof(input));
    try {
        const negotiatedFormat agreed = acceptFormatReply(input.offered, input.reply, input.output_mask);
        require(agreed.worker.rate == input.offered.rate && agreed.output.rate == input.offered.rate);
        require_layout(agreed.worker);
        require_layout(agreed.output);
        require(input.output_mask == 0 || agreed.output.mask == input.output_mask);
        // Exact sizes, so that a byte too many is found.
        constexpr size_t frames = 3;
        const std::vector<double> source(frames * agreed.worker.channels, 1.0);
        std::vector<double> target(frames * agreed.output.channels, 2.0);
        remapChannels(target.data(), agreed.output.channels, source.data(), agreed.worker.channels, frames);
        for (const double sample : target)
            require(sample == 1.0 || sample == 0.0);
    } catch (const std::runtime_error&) {
    }
    return 0;
}
