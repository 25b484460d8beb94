#pragma once
#include "player/services/piece_cutter.h"
#include "sdk/main_thread.h"
#include "sdk/playback_stream_capture.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace player {

// Hands what is heard to whoever registered. The audio thread puts chunks in, the main thread delivers them
// from its message loop. Between the two lie at most `most_waiting` chunks: while the main thread is busy the
// oldest are lost, since a picture of the sound is to show what is heard now.
class stream_capture : public playback_stream_capture_v2 {
public:
    using service_interface = playback_stream_capture_v2;
    static constexpr size_t most_waiting = 64;

    explicit stream_capture(service_ptr_t<main_thread_queue> queue);

    void add_callback(playback_stream_capture_callback& callback) override { add_callback_v2(callback, 0.1); }
    void remove_callback(playback_stream_capture_callback& callback) noexcept override;
    void add_callback_v2(playback_stream_capture_callback& callback, double seconds) override;

    // A chunk that is valid. Costs nothing while nobody is registered. One thread at a time; the samples go
    // into storage that is used again. A chunk that cannot be kept (memory) is lost.
    void feed(const audio_chunk& chunk) noexcept;

private:
    struct receiver {
        playback_stream_capture_callback* callback; // null: removed
        piece_cutter cutter;
    };
    class delivery;
    void deliver() noexcept;
    void deliver_chunk(const audio_chunk& chunk);
    bool take(audio_chunk_impl_t& out) noexcept;

    const service_ptr_t<main_thread_queue> queue_;
    std::atomic<size_t> receiver_count_{0};
    std::vector<std::shared_ptr<receiver>> receivers_; // main thread only
    bool delivering_ = false;                          // main thread only

    std::mutex mutex_; // guards what follows
    std::deque<audio_chunk_impl_t> waiting_;
    std::vector<audio_chunk_impl_t> spare_; // storage to be used again
    bool posted_ = false;
};

} // namespace player
