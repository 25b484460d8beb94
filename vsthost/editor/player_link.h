#pragma once
// The player's side of an editor's process: what arrives on the pipe, and its end. The pipe thread; nothing
// is ever written.

#include "worker/protocol.h"

#include <atomic>
#include <cstdint>

namespace vsthost {

class live_audio;
class pipe_client;

class player_link {
public:
    // `live` takes the audio; null: whatever comes is passed over. Both outlive the link.
    player_link(pipe_client& pipe, live_audio* live)
        : pipe_(pipe)
        , live_(live)
    {
    }

    // Pipe thread: returns when the player is gone. Throws std::bad_alloc.
    void run();

    bool gone() const noexcept { return gone_; } // any thread

private:
    void read();
    void on_format(uint32_t byte_count);
    void on_audio(uint32_t byte_count);
    void skip(uint32_t byte_count);

    pipe_client& pipe_;
    live_audio* live_;
    Nv::streamFormat format_{}; // of the audio that comes next
    std::atomic<bool> gone_{false};
};

} // namespace vsthost
