#pragma once
// WAV files on the disk, through the multimedia I/O calls of Windows. One thread at a time.

#include "player/wav/wav_format.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace player {

// Reads the audio of a WAV file. A file whose data chunk claims more bytes than are there is truncated, which
// is an error; bytes behind the last whole frame of a complete data chunk are ignored, and so is the size
// that the outermost chunk claims. Files over 2 GiB are refused.
class wav_reader {
public:
    // Throws player_error, which names the file.
    explicit wav_reader(const std::string& path);
    ~wav_reader();
    wav_reader(const wav_reader&) = delete;
    wav_reader& operator=(const wav_reader&) = delete;

    const std::string& path() const noexcept { return path_; }
    const wav_format& format() const noexcept { return audio_.format; }
    uint64_t frame_count() const noexcept { return audio_.frame_count; }
    uint64_t position() const noexcept { return position_; } // frames
    // The next read begins at that frame; at most frame_count().
    void seek(uint64_t frame);
    // Interleaved doubles; fewer frames than asked for only at the end. Throws player_error.
    size_t read(double* out, size_t frames);

private:
    class stream;
    std::string path_;
    std::unique_ptr<stream> stream_;
    wav_audio audio_{};
    uint64_t position_ = 0;
    std::vector<uint8_t> packed_;
};

// Writes a WAV file under a temporary name beside its own and gives it its name at the end, so that there is
// no half-written file at any time. What throws, throws player_error.
class wav_writer {
public:
    // Makes the temporary file, so that a place that cannot be written, and a file that could not be replaced
    // at the end, shows at once.
    explicit wav_writer(const std::string& path);
    // Removes the temporary file, unless name() was called.
    ~wav_writer();
    wav_writer(const wav_writer&) = delete;
    wav_writer& operator=(const wav_writer&) = delete;

    const std::string& path() const noexcept { return path_; }
    void set_path(const std::string& path) { path_ = path; } // another name, in the same folder
    bool has_format() const noexcept { return format_.channels != 0; }
    const wav_format& format() const noexcept { return format_; }
    uint64_t frames() const noexcept { return frames_; }

    void begin(const wav_format& format);        // once, before the first write; again when it failed
    bool has_room(size_t frames) const noexcept; // after begin: the file stays below 2 GiB with these as well
    // Throws also when there is no room. What was written before is whole then and can be closed.
    void write(const double* interleaved, size_t frames);
    // Ends the file, under its temporary name; after begin. Then name() replaces what has the name. Where
    // that fails the sound stays under the temporary name, which the exception tells.
    void close();
    void name();
    void finish()
    {
        close();
        name();
    }

private:
    class stream;
    std::string path_;
    std::string temporary_path_; // empty: there is none to remove
    std::unique_ptr<stream> stream_;
    wav_format format_;
    uint64_t frames_ = 0;
    std::vector<uint8_t> packed_;
};

} // namespace player
