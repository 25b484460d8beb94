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

// The WAV files that sound goes into: a chunk whose rate, channels or mask differ from the file's, or for
// which it has no room, starts another, NAME-2.wav and so on. They have temporary names until the end;
// without close() and name() nothing is left. One thread. What throws, throws player_error.
class output_files {
public:
    // `used` are files that must not become an output, such as those that are read: refused as `path`, passed
    // over by the numbers.
    output_files(const std::string& path, std::vector<std::string> used, sample_type type);
    // One more of these. It may be what a numbered output was to be called: that gets the next number.
    void add_used(const std::string& path) { used_.push_back(path); }

    // What was written before a failure is whole and can be closed.
    void write(const audio_chunk& chunk);
    // Both go on to the last file before they throw the first failure. `fallback` is the format of a file
    // that got no audio. name() is for the files that could be closed; see wav_writer for one that cannot be
    // named.
    void close(const wav_format& fallback);
    std::vector<rendered_file> name();

private:
    bool is_used(const std::string& path) const;
    std::string next_path();
    template <class Act>
    void for_each_file(Act&& act);

    const std::string path_;
    std::vector<std::string> used_;
    sample_type type_;
    std::vector<std::unique_ptr<wav_writer>> files_;
    size_t last_number_ = 1;
};

} // namespace player
