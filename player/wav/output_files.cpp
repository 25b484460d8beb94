#include "player/wav/output_files.h"

#include "player/system/paths.h"
#include "player/system/player_error.h"

#include <algorithm>
#include <exception>

namespace player {

output_files::output_files(const std::string& path, std::vector<std::string> used, sample_type type)
    : path_(path)
    , used_(std::move(used))
    , type_(type)
{
    if (is_used(path))
        throw player_error(path + ": is also read by this run; choose another output");
    files_.push_back(std::make_unique<wav_writer>(path));
}

bool output_files::is_used(const std::string& path) const
{
    return std::ranges::any_of(used_, [&](const std::string& file) { return is_same_file(path, file); });
}

std::string output_files::next_path()
{
    const size_t name_at = path_.size() - file_name(path_).size();
    const size_t dot = path_.rfind('.');
    const size_t cut = dot == std::string::npos || dot <= name_at ? path_.size() : dot;
    for (;;) {
        std::string path = path_.substr(0, cut) + "-" + std::to_string(++last_number_) + path_.substr(cut);
        if (!is_used(path))
            return path;
    }
}

void output_files::write(const audio_chunk& chunk)
{
    const wav_format format{type_, chunk.get_sample_rate(), chunk.get_channel_count(),
                            chunk.get_channel_config()};
    if (format.rate < min_sample_rate || format.rate > max_sample_rate || format.channels > max_channels)
        throw player_error(files_.back()->path() + ": the chain made " + std::to_string(format.channels) +
                           " channels at " + std::to_string(format.rate) +
                           " Hz, which a WAV cannot take here");
    const auto frames = chunk.get_sample_count();
    if (files_.back()->has_format() &&
        !(files_.back()->format() == format && files_.back()->has_room(frames)))
        files_.push_back(std::make_unique<wav_writer>(next_path()));
    if (!files_.back()->has_format())
        files_.back()->begin(format);
    files_.back()->write(chunk.get_data(), frames);
}

template <class Act>
void output_files::for_each_file(Act&& act)
{
    std::exception_ptr first_failure;
    std::vector<std::unique_ptr<wav_writer>> good;
    for (auto& file : files_) {
        try {
            act(*file);
            good.push_back(std::move(file));
        } catch (const player_error&) {
            first_failure = first_failure ? first_failure : std::current_exception();
        }
    }
    files_ = std::move(good);
    if (first_failure)
        std::rethrow_exception(first_failure);
}

void output_files::close(const wav_format& fallback)
{
    for_each_file([&](wav_writer& file) {
        if (!file.has_format())
            file.begin(fallback);
        file.close();
    });
}

std::vector<rendered_file> output_files::name()
{
    std::vector<rendered_file> done;
    for_each_file([&](wav_writer& file) {
        if (file.path() != path_ && is_used(file.path()))
            file.set_path(next_path());
        file.name();
        done.push_back({file.path(), file.format(), file.frames()});
    });
    return done;
}

} // namespace player
