#include "player/mmio_file.h"
#include "player/os_path.h"
#include "player/player_error.h"
#include "player/sample_conversion.h"
#include "player/wav_file.h"

#include <algorithm>
#include <climits>

namespace player {

namespace {

// A WAV file has a handful of chunks; a file made of nothing but chunk headers is not worth walking.
constexpr int max_chunks = 10'000;

constexpr FOURCC fourcc(const char (&text)[5])
{
    FOURCC code = 0;
    for (int i = 3; i >= 0; --i)
        code = code << 8 | static_cast<uint8_t>(text[i]);
    return code;
}

win::file_handle open_input(const std::string& path)
{
    if (is_folder(path))
        throw player_error(path + ": is a folder; name a WAV file");
    win::file_handle file(CreateFileW(os_path(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!file)
        throw_file_error(path, "cannot be opened", GetLastError());
    return file;
}

} // namespace

class wav_reader::stream {
public:
    explicit stream(const std::string& path)
        : stream(path, open_input(path))
    {
    }
    mmio_file& file() noexcept { return file_; }
    uint64_t size() const noexcept { return size_; }

private:
    stream(const std::string& path, win::file_handle handle)
        : size_(checked_size(path, handle.get()))
        , file_(path, std::move(handle), MMIO_READ)
    {
    }
    static uint64_t checked_size(const std::string& path, HANDLE handle)
    {
        LARGE_INTEGER size;
        if (!GetFileSizeEx(handle, &size))
            throw_file_error(path, "cannot be read", GetLastError());
        if (size.QuadPart > LONG_MAX)
            throw player_error(path + ": is larger than 2 GiB; split it into smaller files");
        return static_cast<uint64_t>(size.QuadPart);
    }

    uint64_t size_;
    mmio_file file_;
};

wav_reader::wav_reader(const std::string& path)
    : path_(path)
    , stream_(std::make_unique<stream>(path))
{
    try {
        find_audio();
    } catch (const wav_error& error) {
        throw player_error(path_ + ": " + error.what());
    }
}

wav_reader::~wav_reader() = default;

void wav_reader::find_audio()
{
    const HMMIO mmio = stream_->file().get();
    const uint64_t file_size = stream_->size();
    MMCKINFO riff{};
    if (file_size < 12 || mmioDescend(mmio, &riff, nullptr, 0) != 0 || riff.ckid != fourcc("RIFF") ||
        riff.fccType != fourcc("WAVE"))
        throw wav_error("is not a WAV file; convert it to WAV first");

    // Each chunk is looked at by itself and measured against the file before its size is used: the search of
    // the system believes what it reads.
    uint64_t at = 12;
    for (int count = 0; count < max_chunks && at + 8 <= file_size; ++count) {
        MMCKINFO chunk{};
        if (mmioSeek(mmio, static_cast<LONG>(at), SEEK_SET) < 0 || mmioDescend(mmio, &chunk, nullptr, 0) != 0)
            break;
        const uint64_t begin = at + 8;
        const uint64_t there = std::min<uint64_t>(chunk.cksize, file_size - begin);
        if (chunk.ckid == fourcc("fmt ")) {
            std::vector<uint8_t> fmt(std::min<size_t>(static_cast<size_t>(there), max_fmt_bytes));
            read_exactly(fmt.data(), fmt.size());
            format_ = parse_fmt(fmt);
        } else if (chunk.ckid == fourcc("data")) {
            if (format_.channels == 0)
                throw wav_error("has a damaged header (audio before its format); save it again as WAV");
            if (there != chunk.cksize)
                throw wav_error("is truncated (" + std::to_string(there) + " of " +
                                std::to_string(chunk.cksize) +
                                " bytes of audio are there); get a complete copy");
            data_at_ = begin;
            frame_count_ = there / format_.bytes_per_frame();
            seek(0);
            return;
        }
        if (there != chunk.cksize)
            break;
        at = begin + there + (there & 1); // chunks are padded to even sizes
    }
    throw wav_error("is truncated (it ends before its audio); get a complete copy");
}

void wav_reader::seek(uint64_t frame)
{
    position_ = std::min(frame, frame_count_);
    const uint64_t at = data_at_ + position_ * format_.bytes_per_frame();
    if (mmioSeek(stream_->file().get(), static_cast<LONG>(at), SEEK_SET) < 0)
        throw player_error(path_ + ": cannot be read at byte " + std::to_string(at));
}

size_t wav_reader::read(double* out, size_t frames)
{
    const size_t taken = static_cast<size_t>(std::min<uint64_t>(frames, frame_count_ - position_));
    packed_.resize(taken * format_.bytes_per_frame());
    read_exactly(packed_.data(), packed_.size());
    samples_to_doubles(format_.type, packed_.data(), out, taken * format_.channels);
    position_ += taken;
    return taken;
}

void wav_reader::read_exactly(void* bytes, size_t byte_count)
{
    if (byte_count == 0)
        return;
    const LONG got =
        mmioRead(stream_->file().get(), static_cast<HPSTR>(bytes), static_cast<LONG>(byte_count));
    if (got == static_cast<LONG>(byte_count))
        return;
    if (const DWORD code = stream_->file().last_error())
        throw_file_error(path_, "cannot be read", code);
    throw player_error(path_ + ": became shorter while it was read; get a complete copy");
}

} // namespace player
