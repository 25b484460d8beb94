#include "player/services/stream_capture.h"

#include <algorithm>

namespace player {

// On its way to the main thread.
class stream_capture::delivery : public runnable {
public:
    using service_interface = runnable;
    explicit delivery(service_ptr_t<stream_capture> owner)
        : owner_(std::move(owner))
    {
    }
    void run() noexcept override { owner_->deliver(); }

private:
    service_ptr_t<stream_capture> owner_;
};

stream_capture::stream_capture(service_ptr_t<main_thread_queue> queue)
    : queue_(std::move(queue))
{
}

void stream_capture::add_callback_v2(playback_stream_capture_callback& callback, double seconds)
{
    core_api::ensure_main_thread();
    receivers_.push_back(std::make_shared<receiver>(receiver{&callback, piece_cutter(seconds)}));
    ++receiver_count_;
}

void stream_capture::remove_callback(playback_stream_capture_callback& callback) noexcept
{
    const auto found = std::find_if(receivers_.begin(), receivers_.end(),
                                    [&](const auto& each) { return each->callback == &callback; });
    if (found == receivers_.end())
        return;
    (*found)->callback = nullptr; // a delivery may hold it
    receivers_.erase(found);
    if (--receiver_count_ != 0)
        return;
    // Who registers next hears nothing that was before.
    const std::lock_guard lock(mutex_);
    waiting_.clear();
    spare_.clear();
}

void stream_capture::feed(const audio_chunk& chunk) noexcept
try {
    if (receiver_count_ == 0)
        return;
    const std::lock_guard lock(mutex_);
    audio_chunk_impl_t copy;
    if (waiting_.size() == most_waiting) {
        copy = std::move(waiting_.front());
        waiting_.pop_front();
    } else if (!spare_.empty()) {
        copy = std::move(spare_.back());
        spare_.pop_back();
    }
    copy.copy_from(chunk);
    waiting_.push_back(std::move(copy));
    if (posted_)
        return;
    queue_->post(*service_new<delivery>(this));
    posted_ = true;
} catch (...) {
    // Lost: the sound goes on.
}

bool stream_capture::take(audio_chunk_impl_t& out) noexcept
{
    const std::lock_guard lock(mutex_);
    if (out.is_valid() && spare_.size() < most_waiting)
        spare_.push_back(std::move(out));
    if (waiting_.empty())
        return false;
    out = std::move(waiting_.front());
    waiting_.pop_front();
    return true;
}

void stream_capture::deliver() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        posted_ = false;
    }
    // A callback that runs a message loop gets here again; what waits is delivered when it has returned.
    if (delivering_)
        return;
    delivering_ = true;
    audio_chunk_impl_t chunk;
    for (size_t count = 0; count < most_waiting && take(chunk); ++count) {
        try {
            deliver_chunk(chunk);
        } catch (...) {
            // No memory for a list of receivers: this chunk is lost.
        }
    }
    delivering_ = false;
}

void stream_capture::deliver_chunk(const audio_chunk& chunk)
{
    // A copy: callbacks come and go meanwhile.
    const auto receivers = receivers_;
    for (const auto& each : receivers) {
        for (size_t frame = 0; each->callback && frame < chunk.get_sample_count();) {
            try {
                if (each->cutter.take(chunk, frame))
                    each->callback->on_chunk(each->cutter.piece());
            } catch (...) {
            }
        }
    }
}

} // namespace player
