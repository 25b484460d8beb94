#include "player/wav/wav_format.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace player {

namespace {

constexpr uint16_t tag_pcm = 1;
constexpr uint16_t tag_float = 3;
constexpr uint16_t tag_extensible = 0xFFFE;

// A WAV file has a handful of chunks; a file made of nothing but chunk headers is not worth walking.
constexpr int max_chunks = 10'000;

// What follows the two-byte tag in the sub-format GUIDs of the extensible form.
constexpr uint8_t sub_format_tail[14] = {0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};

uint32_t default_channel_mask(uint32_t channels)
{
    switch (channels) {
    case 1:
        return 0x4;
    case 2:
        return 0x3;
    case 4:
        return 0x33;
    case 6:
        return 0x3F;
    case 8:
        return 0x63F;
    default:
        return 0;
    }
}

uint16_t get16(std::span<const uint8_t> bytes, size_t at)
{
    return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

uint32_t get32(std::span<const uint8_t> bytes, size_t at)
{
    return get16(bytes, at) | static_cast<uint32_t>(get16(bytes, at + 2)) << 16;
}

void put(std::vector<uint8_t>& out, uint32_t value, int byte_count)
{
    for (int i = 0; i < byte_count; ++i)
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
}

sample_type type_of(uint16_t tag, uint16_t bits)
{
    if (tag == tag_pcm) {
        switch (bits) {
        case 8:
            return sample_type::int8;
        case 16:
            return sample_type::int16;
        case 24:
            return sample_type::int24;
        case 32:
            return sample_type::int32;
        default:
            break;
        }
    } else if (tag == tag_float && bits == 32) {
        return sample_type::float32;
    } else if (tag == tag_float && bits == 64) {
        return sample_type::float64;
    }
    throw wav_error("has an encoding that is not supported (format tag " + std::to_string(tag) + ", " +
                    std::to_string(bits) + " bits); convert it to PCM or float");
}

bool is_float(sample_type type)
{
    return type == sample_type::float32 || type == sample_type::float64;
}

} // namespace

size_t bytes_per_sample(sample_type type) noexcept
{
    switch (type) {
    case sample_type::int8:
        return 1;
    case sample_type::int16:
        return 2;
    case sample_type::int24:
        return 3;
    case sample_type::int32:
    case sample_type::float32:
        return 4;
    case sample_type::float64:
        break;
    }
    return 8;
}

const char* sample_type_name(sample_type type) noexcept
{
    switch (type) {
    case sample_type::int8:
        return "8-bit PCM";
    case sample_type::int16:
        return "16-bit PCM";
    case sample_type::int24:
        return "24-bit PCM";
    case sample_type::int32:
        return "32-bit PCM";
    case sample_type::float32:
        return "32-bit float";
    case sample_type::float64:
        break;
    }
    return "64-bit float";
}

wav_format parse_fmt(std::span<const uint8_t> fmt)
{
    if (fmt.size() < 16)
        throw wav_error("has a damaged header (format chunk too short); save it again as WAV");
    uint16_t tag = get16(fmt, 0);
    const uint16_t channels = get16(fmt, 2);
    const uint16_t block_align = get16(fmt, 12);
    wav_format format;
    format.rate = get32(fmt, 4);
    format.channels = channels;
    if (tag == tag_extensible) {
        if (fmt.size() < 40)
            throw wav_error("has a damaged header (format chunk too short); save it again as WAV");
        format.mask = get32(fmt, 20);
        tag = get16(fmt, 24);
        if (std::memcmp(fmt.data() + 26, sub_format_tail, sizeof(sub_format_tail)) != 0)
            throw wav_error("has an encoding that is not supported; convert it to PCM or float");
    }
    if (channels == 0)
        throw wav_error("says that it has no channels; save it again as WAV");
    if (channels > max_channels)
        throw wav_error("has " + std::to_string(channels) + " channels; at most " +
                        std::to_string(max_channels) + " are supported");
    if (format.rate < min_sample_rate || format.rate > max_sample_rate)
        throw wav_error("has a sample rate of " + std::to_string(format.rate) +
                        " Hz; resample it to between " + std::to_string(min_sample_rate) + " and " +
                        std::to_string(max_sample_rate) + " Hz");
    format.type = type_of(tag, get16(fmt, 14));
    if (block_align != format.bytes_per_frame())
        throw wav_error("has a damaged header (frame size " + std::to_string(block_align) + " instead of " +
                        std::to_string(format.bytes_per_frame()) + "); save it again as WAV");
    if (std::popcount(format.mask) != channels)
        format.mask = default_channel_mask(channels);
    return format;
}

wav_audio find_audio(riff_source& file, uint64_t file_size)
{
    const auto riff = file_size < 12 ? std::nullopt : file.chunk_at(0);
    if (riff && (riff->id == fourcc("RF64") || riff->id == fourcc("BW64") || riff->id == fourcc("RIFX")))
        throw wav_error("is a WAV file of a form that is not supported; save it as a plain one");
    if (!riff || riff->id != fourcc("RIFF") || riff->form != fourcc("WAVE"))
        throw wav_error("is not a WAV file; convert it to WAV first");

    // Each chunk is looked at by itself and measured against the file before its size is used.
    wav_format format;
    uint64_t at = 12;
    for (int count = 0; count < max_chunks && at + 8 <= file_size; ++count) {
        const auto chunk = file.chunk_at(at);
        if (!chunk)
            break;
        const uint64_t begin = at + 8;
        const uint64_t there = std::min<uint64_t>(chunk->byte_count, file_size - begin);
        if (chunk->id == fourcc("fmt ")) {
            std::vector<uint8_t> fmt(std::min<size_t>(static_cast<size_t>(there), max_fmt_bytes));
            file.read(fmt.data(), fmt.size());
            format = parse_fmt(fmt);
        } else if (chunk->id == fourcc("data")) {
            if (format.channels == 0)
                throw wav_error("has a damaged header (audio before its format); save it again as WAV");
            if (there != chunk->byte_count)
                throw wav_error("is truncated (" + std::to_string(there) + " of " +
                                std::to_string(chunk->byte_count) +
                                " bytes of audio are there); get a complete copy");
            return {format, begin, there / format.bytes_per_frame()};
        }
        if (there != chunk->byte_count)
            break;
        at = begin + there + (there & 1); // chunks are padded to even sizes
    }
    throw wav_error("is truncated (it ends before its audio); get a complete copy");
}

std::vector<uint8_t> write_fmt(const wav_format& format)
{
    const uint16_t tag = is_float(format.type) ? tag_float : tag_pcm;
    const bool wide_integer = format.type == sample_type::int24 || format.type == sample_type::int32;
    const bool extensible =
        format.channels > 2 || wide_integer || format.mask != default_channel_mask(format.channels);
    const auto frame_bytes = static_cast<uint32_t>(format.bytes_per_frame());
    const auto bits = static_cast<uint32_t>(8 * bytes_per_sample(format.type));
    std::vector<uint8_t> fmt;
    put(fmt, extensible ? tag_extensible : tag, 2);
    put(fmt, format.channels, 2);
    put(fmt, format.rate, 4);
    // Too large for the field at absurd rates only; readers do not rely on it.
    put(fmt, static_cast<uint32_t>(uint64_t{format.rate} * frame_bytes), 4);
    put(fmt, frame_bytes, 2);
    put(fmt, bits, 2);
    if (extensible) {
        put(fmt, 22, 2);
        put(fmt, bits, 2);
        put(fmt, format.mask, 4);
        put(fmt, tag, 2);
        fmt.insert(fmt.end(), std::begin(sub_format_tail), std::end(sub_format_tail));
    } else if (tag != tag_pcm) {
        put(fmt, 0, 2); // forms other than PCM always carry the size of their extension
    }
    return fmt;
}

} // namespace player
