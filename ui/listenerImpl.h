#pragma once
#include "dsp/vstAudioListener.h"
#include "ui/liveFeed.h"

// What a configure run hears of the player: chunks of the newest DSP with the same effect, as they were
// before processing. Registered as long as it lives.
//
// Locks are taken in this order: the set of listeners (shared), lock_, the queue's own. Whoever takes chunks
// out holds the last one alone, so none of them waits for a worker.
class listenerImpl final : public vstAudioListener {
public:
    // `path`: of the effect's module. Throws std::bad_alloc and Nv::bug_check.
    explicit listenerImpl(std::string path)
        : vstAudioListener(std::move(path))
    {
    }

    // On a DSP's thread. When the player makes its chain anew, chunks of the older instance may still come
    // beside those of the newer one; they are dropped. So are chunks for a full queue.
    void onAudio(const audio_chunk& chunk, uint64_t serial) noexcept override;

    chunkQueue queue; // filled here; the feed's thread takes out

private:
    win::srw_lock lock_; // one instance at a time; guards what follows
    uint64_t lastSerial_ = 0;
    registration registration_{*this};
};
