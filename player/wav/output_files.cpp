#include "player/wav/output_files.h"

#include "player/system/os_path.h"
#include "player/system/player_error.h"

#include <algorithm>

namespace player {

output_files::output_files(const std::string& path, std::vector<std::string> used, sample_type type)
    : used_(std::move(used))
    , type_(type)
{
    open(path);
}

void output_files::open(const std::string& path)
{
    if (std::any_of(used_.begin(), used_.end(),
                    [&](const std::string& file) { return is_same_file(path, file); }))
        throw player_error(path + ": is also read by this run; choose another output");
    files_.push_back(std::make_unique<wav_writer>(path));
}

std::string output_files::numbered(size_t number) const
{
    const std::string& first = files_.front()->path();
    const size_t name_at = first.size() - file_name(first).size();
    const size_t dot = first.rfind('.');
    const size_t cut = dot == std::string::npos || dot <= name_at ? first.size() : dot;
    return first.substr(0, cut) + "-" + std::to_string(number) + first.substr(cut);
}

void output_files::write(const audio_chunk& chunk)
{
    const wav_format format{type_, chunk.get_sample_rate(), chunk.get_channel_count(),
                            chunk.get_channel_config()};
    if (format.rate < min_sample_rate || format.rate > max_sample_rate || format.channels > max_channels)
        throw player_error(files_.back()->path() + ": the chain made " + std::to_string(format.channels) +
                           " channels at " + std::to_string(format.rate) +
                           " Hz, which a WAV cannot take here");
    if (files_.back()->has_format() && !(files_.back()->format() == format))
        open(numbered(files_.size() + 1));
    if (!files_.back()->has_format())
        files_.back()->begin(format);
    files_.back()->write(chunk.get_data(), chunk.get_sample_count());
}

std::vector<rendered_file> output_files::finish(const wav_format& fallback)
{
    std::vector<rendered_file> done;
    for (const auto& file : files_) {
        if (!file->has_format())
            file->begin(fallback);
        file->finish();
        done.push_back({file->path(), file->format(), file->frames()});
    }
    return done;
}

} // namespace player
