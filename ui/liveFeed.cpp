#include "ui/liveFeed.h"

#include "sdk/exceptions.h"
#include "worker/wait.h"

#include <cstring>
#include <utility>

bool chunkQueue::push(const audio_chunk& chunk) noexcept
{
    size_t slot;
    {
        const win::exclusive_lock lock(lock_);
        if (count_ >= limit)
            return false;
        slot = (first_ + count_) % limit;
    }
    // Only this thread adds, and the other one never touches a slot that is not counted.
    try {
        ring_[slot].copy_from(chunk);
    } catch (...) {
        return false;
    }
    const win::exclusive_lock lock(lock_);
    if (++count_ == 1)
        SetEvent(notEmpty_.event());
    return true;
}

bool chunkQueue::pop(audio_chunk_impl_t& out) noexcept
{
    const win::exclusive_lock lock(lock_);
    if (count_ == 0)
        return false;
    std::swap(out, ring_[first_]);
    first_ = (first_ + 1) % limit;
    if (--count_ == 0)
        ResetEvent(notEmpty_.event());
    return true;
}

// Everything in one write: a pipe costs by the call.
void liveFeed::send(const audio_chunk& chunk)
{
    const uint64_t byteCount = uint64_t{chunk.get_used_size()} * Nv::bytesPerSample;
    if (byteCount > UINT32_MAX)
        throw exception_overflow();
    const uint32_t channels = chunk.get_channel_count();
    const uint32_t mask = chunk.get_channel_config();
    const Nv::streamFormat format = {chunk.get_sample_rate(), channels, mask, channels, mask};

    message_.clear();
    const auto append = [this](const void* bytes, size_t count) {
        const auto* const first = static_cast<const uint8_t*>(bytes);
        message_.insert(message_.end(), first, first + count);
    };
    if (!(format == sent_)) {
        const Nv::commandHeader header = {Nv::cmdSetFormat, sizeof(format)};
        append(&header, sizeof(header));
        append(&format, sizeof(format));
    }
    const Nv::commandHeader header = {Nv::cmdProcess, static_cast<uint32_t>(byteCount)};
    append(&header, sizeof(header));
    if (byteCount != 0)
        append(chunk.get_data(), static_cast<size_t>(byteCount));
    worker_.write(message_.data(), message_.size());
    sent_ = format;
}

void feedLive(chunkQueue& queue, Nv::streamOut& worker, Nv::waitable* workerEnd)
{
    liveFeed feed(worker);
    audio_chunk_impl_t chunk;
    Nv::waitableImpl* const waited[] = {&queue.notEmpty(), workerEnd};
    for (;;) {
        const int signalled = Nv::waitAny(waited, workerEnd ? 2 : 1, -1);
        if (signalled != 0)
            return;
        if (queue.pop(chunk))
            feed.send(chunk);
    }
}
