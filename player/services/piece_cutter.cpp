#include "player/services/piece_cutter.h"

#include <algorithm>
#include <cmath>

namespace player {

piece_cutter::piece_cutter(double seconds) noexcept
    : seconds_(seconds > shortest_seconds ? std::min(seconds, longest_seconds) : shortest_seconds)
{
}

bool piece_cutter::fits(const audio_chunk& chunk) const noexcept
{
    return chunk.get_sample_rate() == piece_.get_sample_rate() &&
           chunk.get_channel_count() == piece_.get_channel_count() &&
           chunk.get_channel_config() == piece_.get_channel_config();
}

bool piece_cutter::take(const audio_chunk& chunk, size_t& frame)
{
    if (!complete_ && !fits(chunk))
        return complete_ = true;
    if (complete_) {
        const auto frames = std::lround(seconds_ * chunk.get_sample_rate());
        piece_frames_ = static_cast<size_t>(std::max(frames, 1L));
        piece_.set_data_size(piece_frames_ * chunk.get_channel_count());
        piece_.set_sample_rate(chunk.get_sample_rate());
        piece_.set_channels(chunk.get_channel_count(), chunk.get_channel_config());
        piece_.set_sample_count(0);
        complete_ = false;
    }
    const size_t there = piece_.get_sample_count(), channels = chunk.get_channel_count();
    const size_t now = std::min(piece_frames_ - there, chunk.get_sample_count() - frame);
    std::copy_n(chunk.get_data() + frame * channels, now * channels, piece_.get_data() + there * channels);
    piece_.set_sample_count(there + now);
    frame += now;
    return complete_ = there + now == piece_frames_;
}

} // namespace player
