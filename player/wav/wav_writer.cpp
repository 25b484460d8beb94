#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"
#include "player/wav/mmio_file.h"
#include "player/wav/sample_conversion.h"
#include "player/wav/wav_file.h"
#include "win/long_path.h"

#include <climits>
#include <utility>

namespace player {

namespace {

// The calls count in signed 32-bit numbers; what is left is for the headers.
constexpr uint64_t max_data_bytes = LONG_MAX - 4096;

// What is there already may be sound that could not be given its name.
std::string unused_name(const std::string& path)
{
    const std::string begin = path + "." + std::to_string(GetCurrentProcessId());
    std::string name = begin + ".part";
    for (int number = 2; path_exists(name); ++number)
        name = begin + "-" + std::to_string(number) + ".part";
    return name;
}

win::file_handle create_output(const std::string& path, const std::string& temporary_path)
{
    check_replaceable(path);
    win::file_handle file(CreateFileW(win::long_path(temporary_path).c_str(), GENERIC_WRITE, 0, nullptr,
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
        file_.cut_to(0); // one that failed leaves something
        riff_ = {};
        riff_.fccType = mmioFOURCC('W', 'A', 'V', 'E');
        check(mmioCreateChunk(file_.get(), &riff_, MMIO_CREATERIFF) == 0);
        const std::vector<uint8_t> fmt = write_fmt(format);
        MMCKINFO chunk{};
        chunk.ckid = mmioFOURCC('f', 'm', 't', ' ');
        check(mmioCreateChunk(file_.get(), &chunk, 0) == 0);
        write(fmt.data(), fmt.size());
        check(mmioAscend(file_.get(), &chunk, 0) == 0);
        data_ = {};
        data_.ckid = mmioFOURCC('d', 'a', 't', 'a');
        check(mmioCreateChunk(file_.get(), &data_, 0) == 0);
    }
    void write(const uint8_t* bytes, size_t byte_count)
    {
        const auto size = static_cast<LONG>(byte_count);
        check(mmioWrite(file_.get(), reinterpret_cast<const char*>(bytes), size) == size);
    }
    void cut_data_to(uint64_t byte_count) { file_.cut_to(data_.dwDataOffset + byte_count); }
    void close()
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
    , temporary_path_(unused_name(path))
    , stream_(std::make_unique<stream>(path_, temporary_path_))
{
}

wav_writer::~wav_writer()
{
    stream_.reset();
    if (!temporary_path_.empty())
        DeleteFileW(win::long_path(temporary_path_).c_str());
}

void wav_writer::begin(const wav_format& format)
{
    stream_->begin(format);
    format_ = format;
}

bool wav_writer::has_room(size_t frames) const noexcept
{
    return (frames_ + frames) * format_.bytes_per_frame() <= max_data_bytes;
}

void wav_writer::write(const double* interleaved, size_t frames)
{
    if (!has_room(frames))
        throw player_error(path_ + ": would become larger than 2 GiB; render in parts");
    packed_.resize(frames * format_.bytes_per_frame());
    doubles_to_samples(format_.type, interleaved, packed_.data(), frames * format_.channels);
    try {
        stream_->write(packed_.data(), packed_.size());
    } catch (const player_error&) {
        stream_->cut_data_to(frames_ * format_.bytes_per_frame());
        throw;
    }
    frames_ += frames;
}

void wav_writer::close()
{
    stream_->close();
    stream_.reset();
}

void wav_writer::name()
{
    const std::string temporary = std::exchange(temporary_path_, {});
    const uint32_t code = rename_over(temporary, path_);
    if (code)
        throw player_error(
            file_error_text(path_, "cannot be replaced", code) +
            (path_exists(temporary) ? "; the sound is in " + temporary + ", rename that" : ""));
}

} // namespace player
