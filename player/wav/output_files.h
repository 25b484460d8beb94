#pragma once
#include "player/wav/wav_file.h"
#include "sdk/audio_chunk.h"

#include <memory>
#include <string>
#include <vector>

namespace player {

struct rendered_file {
    std::string path;
    wav_format format;
    uint64_t frames = 0;
};

// The WAV files that sound goes into: a chunk whose rate, channels or mask differ from the file's starts
// another, NAME-2.wav and so on. All get their names at the end, or none. One thread.
class output_files {
public:
    // `used` are files that must not become an output, such as those that are read. Makes a temporary file.
    // Throws player_error.
    output_files(const std::string& path, std::vector<std::string> used, sample_type type);

    void write(const audio_chunk& chunk); // throws player_error
    // `fallback` is the format of a file that got no audio. Throws player_error.
    std::vector<rendered_file> finish(const wav_format& fallback);

private:
    void open(const std::string& path);
    std::string numbered(size_t number) const;

    std::vector<std::string> used_;
    sample_type type_;
    std::vector<std::unique_ptr<wav_writer>> files_;
};

} // namespace player
