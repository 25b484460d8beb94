#pragma once
#include "catalogue/vstConfig.h"
#include "sdk/playback_stream_capture.h"
#include "ui/liveFeed.h"
#include "worker/winPipeServerLite.h"

// One running visualisation: what the player plays, shown by an effect's own editor in a worker's window.
//
// Made with `new` on the main thread and its own owner from then on. It ends when the user closes the window,
// when the worker cannot be started or fails, of which nothing is told, and when the player shuts down. Then
// it destroys itself on the main thread, except at shut-down, where it is left as it is: deliveries have
// ended, and the main thread's queue may be closed. Any number may run side by side.
class vis_instance final : public playback_stream_capture_callback_impl {
public:
    // Returns before the worker is there; up to 10 pieces of sound wait for it. Throws
    // exception_host_bug_check (a service is missing, or this is not the main thread), exception_win32 and
    // Nv::bug_check (no thread, no event); there is nothing then.
    explicit vis_instance(const vstConfig_t& effect);

    void on_chunk(const audio_chunk& chunk) override { queue_.push(chunk); } // main thread

private:
    ~vis_instance() = default; // main thread, once workerThread has let go

    void workerThread() noexcept;
    void converse(Nv::winPipeServerLite& pipe);

    const vstConfig_t effect_;
    chunkQueue queue_; // filled on the main thread, emptied on the worker thread
};
