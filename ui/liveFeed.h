#pragma once
// Live audio on its way to a worker: a bounded queue that never holds up whoever plays, and what is written
// to the pipe.

#include "sdk/audio_chunk_impl.h"
#include "win/srw_lock.h"
#include "worker/abort.h"
#include "worker/protocol.h"
#include "worker/stream.h"

#include <array>
#include <cstdint>
#include <vector>

// Copies of chunks, oldest first. One thread at a time puts in, one takes out; neither waits for the other
// longer than it takes to move one chunk. Nothing is allocated once the queue has held chunks of the size.
class chunkQueue {
public:
    static constexpr size_t limit = 10; // chunks; a slow worker loses audio rather than letting memory grow

    // False when the chunk was dropped: the queue is full, or there is no memory for the copy.
    bool push(const audio_chunk& chunk) noexcept;
    // The oldest chunk takes the place of what is in `out`, whose memory the queue uses again. False when
    // there is none.
    bool pop(audio_chunk_impl_t& out) noexcept;
    // Signalled exactly while the queue is not empty.
    Nv::waitable& notEmpty() noexcept { return notEmpty_; }

private:
    win::srw_lock lock_; // guards what follows, and the event's state
    std::array<audio_chunk_impl_t, limit> ring_;
    size_t first_ = 0;
    size_t count_ = 0;
    Nv::waitable notEmpty_;
};

// The player's side of a live conversation; nothing is ever read. One thread.
class liveFeed {
public:
    explicit liveFeed(Nv::streamOut& worker) noexcept
        : worker_(worker)
    {
    }

    // Writes the chunk, and before it its format when that is not the one written last (at first always).
    // Throws what the stream throws, and exception_overflow for a chunk whose byte count exceeds 32 bits.
    void send(const audio_chunk& chunk);

private:
    Nv::streamOut& worker_;
    Nv::streamFormat sent_ = {};
    std::vector<uint8_t> message_; // kept for its memory
};

// Feeds what comes into the queue until `workerEnd` (may be null) is signalled. Throws user_abort when the
// thread's aborter fires, and what liveFeed::send throws.
void feedLive(chunkQueue& queue, Nv::streamOut& worker, Nv::waitable* workerEnd);
