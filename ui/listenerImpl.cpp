#include "ui/listenerImpl.h"

void listenerImpl::onAudio(const audio_chunk& chunk, uint64_t serial) noexcept
{
    const win::exclusive_lock lock(lock_);
    if (serial < lastSerial_)
        return;
    lastSerial_ = serial; // also when the queue has no room for the chunk
    queue.push(chunk);
}
