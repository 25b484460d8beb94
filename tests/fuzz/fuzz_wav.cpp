// WAV files: what is accepted lies inside the file and can be converted; the walk ends.

#include "fuzz/require.h"
#include "player/wav/sample_conversion.h"

#include <algorithm>
#include <cstring>

namespace {

// As the system's calls read one.
class file_in_memory final : public player::riff_source {
public:
    explicit file_in_memory(std::span<const uint8_t> bytes)
        : bytes_(bytes)
    {
    }
    std::optional<player::riff_chunk> chunk_at(uint64_t at) override
    {
        require(++looks_ <= 10'001);
        uint32_t words[3] = {};
        const size_t there = at < bytes_.size() ? bytes_.size() - static_cast<size_t>(at) : 0;
        if (there < 8)
            return std::nullopt;
        std::memcpy(words, bytes_.data() + at, std::min<size_t>(there, 12));
        at_ = static_cast<size_t>(at) + 8;
        return player::riff_chunk{words[0], words[1], words[2]};
    }
    void read(void* out, size_t byte_count) override
    {
        require(byte_count <= bytes_.size() - at_);
        if (byte_count != 0)
            std::memcpy(out, bytes_.data() + at_, byte_count);
        at_ += byte_count;
    }

private:
    std::span<const uint8_t> bytes_;
    size_t at_ = 0;
    int looks_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace player;
    file_in_memory file({data, size});
    try {
        const wav_audio audio = find_audio(file, size);
        const wav_format& format = audio.format;
        require(format.channels >= 1 && format.channels <= max_channels && format.rate >= min_sample_rate &&
                format.rate <= max_sample_rate);
        require(audio.at <= size && audio.frame_count <= (size - audio.at) / format.bytes_per_frame());
        require(parse_fmt(write_fmt(format)) == format);
        // Exact sizes, so that a byte too many is found.
        const auto samples = static_cast<size_t>(audio.frame_count) * format.channels;
        const std::vector<uint8_t> packed(data + audio.at,
                                          data + audio.at + samples * bytes_per_sample(format.type));
        std::vector<double> doubles(samples);
        samples_to_doubles(format.type, packed.data(), doubles.data(), samples);
        std::vector<uint8_t> again(packed.size());
        doubles_to_samples(format.type, doubles.data(), again.data(), samples);
    } catch (const wav_error&) {
    }
    return 0;
}
