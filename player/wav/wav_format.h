#pragma once
// The audio format of a WAV file as its "fmt " chunk says it, and where its audio lies. Pure: bytes in,
// values out.

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace player {

enum class sample_type { int8, int16, int24, int32, float32, float64 }; // int8 is unsigned in the file

size_t bytes_per_sample(sample_type type) noexcept;
const char* sample_type_name(sample_type type) noexcept; // "16-bit PCM", "64-bit float", ...

struct wav_format {
    sample_type type = sample_type::int16;
    uint32_t rate = 0;     // Hz
    uint32_t channels = 0; // 1..max_channels
    uint32_t mask = 0;     // speaker bits; 0: not known

    size_t bytes_per_frame() const noexcept { return bytes_per_sample(type) * channels; }
    friend bool operator==(const wav_format&, const wav_format&) = default;
};

constexpr uint32_t min_sample_rate = 1000;
constexpr uint32_t max_sample_rate = 20'000'000;
constexpr uint32_t max_channels = 256;
// A "fmt " chunk is 40 bytes at most in the forms we know; a longer one is read up to here.
constexpr size_t max_fmt_bytes = 40;

// The text says what is wrong with the file and what to do, to be put after its name.
struct wav_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The format in the bytes of a "fmt " chunk: PCM, IEEE float, or the extensible form of either. A mask that
// does not name as many speakers as there are channels counts as none, and none as the usual one: 0x4, 0x3,
// 0x33, 0x3F, 0x63F for 1, 2, 4, 6, 8 channels, else 0. Throws wav_error.
wav_format parse_fmt(std::span<const uint8_t> fmt);

// Identifiers of chunks as numbers, first letter lowest.
constexpr uint32_t fourcc(const char (&text)[5])
{
    uint32_t code = 0;
    for (int i = 3; i >= 0; --i)
        code = code << 8 | static_cast<uint8_t>(text[i]);
    return code;
}

struct riff_chunk {
    uint32_t id;
    uint32_t byte_count; // as the file says it
    uint32_t form;       // of a "RIFF" chunk
};

// The file that find_audio walks through.
class riff_source {
public:
    // The chunk that begins at this byte, nothing where none can be read; the next read is of what follows
    // its identifier and size.
    virtual std::optional<riff_chunk> chunk_at(uint64_t at) = 0;
    virtual void read(void* bytes, size_t byte_count) = 0; // all of them or an exception

protected:
    ~riff_source() = default;
};

struct wav_audio {
    wav_format format;
    uint64_t at; // the first frame, in bytes
    uint64_t frame_count;
};

// Throws wav_error, also for a data chunk that claims more bytes than the file has.
wav_audio find_audio(riff_source& file, uint64_t file_size);

// The bytes of a "fmt " chunk for the format. The extensible form is written only where the plain one cannot
// say it: more than two channels, a mask other than the usual one, integers wider than 16 bits.
std::vector<uint8_t> write_fmt(const wav_format& format);

} // namespace player
