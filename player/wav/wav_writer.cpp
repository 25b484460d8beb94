#include "player/system/os_path.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"
#include "player/wav/mmio_file.h"
#include "player/wav/sample_conversion.h"
#include "player/wav/wav_file.h"

#include <climits>

namespace player {

namespace {

// The calls count in signed 32-bit numbers; what is left is for the headers.
constexpr uint64_t max_data_bytes = LONG_MAX - 4096;

win::file_handle create_output(const std::string& path, const std::string& temporary_path)
{
    if (is_folder(path))
        throw player_error(path + ": is a folder; name a file for the output");
    win::file_handle file(CreateFileW(os_path(temporary_path).c_str(), GENERIC_WRITE, 0, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        throw_file_error(path, "cannot be written", GetLastError());
    return file;
}

} // namespace

class wav_writer::stream {
public:
    stream(const std::string& path, const std::string& temporary_path)
        : path_(path)
        , file_(path, create_output(path, temporary_path), MMIO_WRITE)
    {
    }

    void begin(const wav_format& format)
    {
        riff_.fccType = mmioFOURCC('W', 'A', 'V', 'E');
        check(mmioCreateChunk(file_.get(), &riff_, MMIO_CREATERIFF) == 0);
        const std::vector<uint8_t> fmt = write_fmt(format);
        MMCKINFO chunk{};
        chunk.ckid = mmioFOURCC('f', 'm', 't', ' ');
        check(mmioCreateChunk(file_.get(), &chunk, 0) == 0);
        write(fmt.data(), fmt.size());
        check(mmioAscend(file_.get(), &chunk, 0) == 0);
        data_.ckid = mmioFOURCC('d', 'a', 't', 'a');
        check(mmioCreateChunk(file_.get(), &data_, 0) == 0);
    }
    void write(const uint8_t* bytes, size_t byte_count)
    {
        const auto size = static_cast<LONG>(byte_count);
        check(mmioWrite(file_.get(), reinterpret_cast<const char*>(bytes), size) == size);
    }
    void finish()
    {
        check(mmioAscend(file_.get(), &data_, 0) == 0);
        check(mmioAscend(file_.get(), &riff_, 0) == 0);
        file_.close();
    }

private:
    void check(bool succeeded)
    {
        if (!succeeded)
            throw_file_error(path_, "cannot be written",
                             file_.last_error() ? file_.last_error() : ERROR_WRITE_FAULT);
    }

    std::string path_;
    mmio_file file_;
    MMCKINFO riff_{};
    MMCKINFO data_{};
};

wav_writer::wav_writer(const std::string& path)
    : path_(path)
    , temporary_path_(path + "." + std::to_string(GetCurrentProcessId()) + ".part")
    , stream_(std::make_unique<stream>(path_, temporary_path_))
{
}

wav_writer::~wav_writer()
{
    if (!stream_)
        return;
    stream_.reset();
    DeleteFileW(os_path(temporary_path_).c_str());
}

void wav_writer::begin(const wav_format& format)
{
    format_ = format;
    stream_->begin(format);
}

void wav_writer::write(const double* interleaved, size_t frames)
{
    const uint64_t bytes_before = frames_ * format_.bytes_per_frame();
    const uint64_t bytes_now = uint64_t{frames} * format_.bytes_per_frame();
    if (bytes_now > max_data_bytes || bytes_before > max_data_bytes - bytes_now)
        throw player_error(path_ + ": would become larger than 2 GiB; render in parts");
    packed_.resize(static_cast<size_t>(bytes_now));
    doubles_to_samples(format_.type, interleaved, packed_.data(), frames * format_.channels);
    stream_->write(packed_.data(), packed_.size());
    frames_ += frames;
}

void wav_writer::finish()
{
    stream_->finish();
    if (const uint32_t code = rename_over(temporary_path_, path_))
        throw_file_error(path_, "cannot be replaced", code);
    stream_.reset();
}

} // namespace player
