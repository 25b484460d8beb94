#pragma once
// Cuts a stream of chunks into pieces of one length. Pure.

#include "sdk/audio_chunk_impl.h"

namespace player {

// One thread at a time.
class piece_cutter {
public:
    static constexpr double shortest_seconds = 0.005, longest_seconds = 1;

    // Pieces of about `seconds`; values out of the range above are moved into it, one that is no number
    // counts as the shortest.
    explicit piece_cutter(double seconds) noexcept;

    // Takes up to a piece's worth of `chunk` from `frame` on, which moves on. True when a piece is complete:
    // it stands in piece() until the next call. A change of format, also in the middle of a piece, ends the
    // piece that was begun; nothing is taken from the chunk then.
    bool take(const audio_chunk& chunk, size_t& frame);
    const audio_chunk& piece() const noexcept { return piece_; }

private:
    bool fits(const audio_chunk& chunk) const noexcept;

    double seconds_;
    audio_chunk_impl_t piece_;
    size_t piece_frames_ = 0; // of a whole one in its format
    bool complete_ = true;    // the next call begins another
};

} // namespace player
