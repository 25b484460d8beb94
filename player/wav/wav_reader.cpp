#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/wav/mmio_file.h"
#include "player/wav/sample_conversion.h"
#include "player/wav/wav_file.h"
#include "win/long_path.h"

#include <algorithm>
#include <climits>

namespace player {

namespace {

win::file_handle open_input(const std::string& path)
{
    if (is_folder(path))
        throw player_error(path + ": is a folder; name a WAV file");
    win::file_handle file(CreateFileW(win::long_path(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!file)
        throw_file_error(path, "cannot be opened", GetLastError());
    return file;
}

} // namespace

class wav_reader::stream final : public riff_source {
public:
    explicit stream(const std::string& path)
        : stream(path, open_input(path))
    {
    }
    mmio_file& file() noexcept { return file_; }
    uint64_t size() const noexcept { return size_; }

    std::optional<riff_chunk> chunk_at(uint64_t at) override
    {
        // Without flags: the search of the system believes the sizes that it reads.
        MMCKINFO chunk{};
        if (mmioSeek(file_.get(), static_cast<LONG>(at), SEEK_SET) < 0 ||
            mmioDescend(file_.get(), &chunk, nullptr, 0) != 0)
            return std::nullopt;
        return riff_chunk{chunk.ckid, chunk.cksize, chunk.fccType};
    }
    void read(void* bytes, size_t byte_count) override
    {
        if (byte_count == 0)
            return;
        const LONG got = mmioRead(file_.get(), static_cast<HPSTR>(bytes), static_cast<LONG>(byte_count));
        if (got == static_cast<LONG>(byte_count))
            return;
        if (const DWORD code = file_.last_error())
            throw_file_error(path_, "cannot be read", code);
        throw player_error(path_ + ": became shorter while it was read; get a complete copy");
    }

private:
    stream(const std::string& path, win::file_handle handle)
        : path_(path)
        , size_(checked_size(path, handle.get()))
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

    std::string path_;
    uint64_t size_;
    mmio_file file_;
};

wav_reader::wav_reader(const std::string& path)
    : path_(path)
    , stream_(std::make_unique<stream>(path))
{
    try {
        audio_ = find_audio(*stream_, stream_->size());
        seek(0);
    } catch (const wav_error& error) {
        throw player_error(path_ + ": " + error.what());
    }
}

wav_reader::~wav_reader() = default;

void wav_reader::seek(uint64_t frame)
{
    position_ = std::min(frame, audio_.frame_count);
    const uint64_t at = audio_.at + position_ * audio_.format.bytes_per_frame();
    if (mmioSeek(stream_->file().get(), static_cast<LONG>(at), SEEK_SET) < 0)
        throw player_error(path_ + ": cannot be read at byte " + std::to_string(at));
}

size_t wav_reader::read(double* out, size_t frames)
{
    const size_t taken = static_cast<size_t>(std::min<uint64_t>(frames, audio_.frame_count - position_));
    packed_.resize(taken * audio_.format.bytes_per_frame());
    stream_->read(packed_.data(), packed_.size());
    samples_to_doubles(audio_.format.type, packed_.data(), out, taken * audio_.format.channels);
    position_ += taken;
    return taken;
}

} // namespace player
