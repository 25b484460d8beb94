// The queue of live audio and what is written of it.

#include "ui/listenerImpl.h"

#include "sdk/exceptions.h"
#include "support/test_options.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>

namespace {

audio_chunk_impl_t chunk_of(double value, uint32_t rate = 44100, uint32_t channels = 2, uint32_t mask = 3,
                            size_t frames = 2)
{
    audio_chunk_impl_t chunk;
    chunk.set_data_size(frames * channels);
    chunk.set_sample_rate(rate);
    chunk.set_channels(channels, mask);
    chunk.set_sample_count(frames);
    std::fill_n(chunk.get_data(), frames * channels, value);
    return chunk;
}

class recorded final : public Nv::streamOut {
public:
    void write(const void* buffer, uint64_t size) override
    {
        bytes.append(static_cast<const char*>(buffer), static_cast<size_t>(size));
    }
    std::string bytes;
};

template <class... Words>
std::string words(Words... each)
{
    const uint32_t all[] = {static_cast<uint32_t>(each)...};
    return {reinterpret_cast<const char*>(all), sizeof(all)};
}

// Seconds to hand over a chunk as a DSP does, in the best of ten rounds: other programs take their time too.
double best_cost(const audio_chunk_impl_t& chunk)
{
    const int count = test_options::long_run() ? 1000000 : 20000;
    double best = 1;
    for (int round = 0; round < 10; ++round) {
        const auto began = std::chrono::steady_clock::now();
        for (int i = 0; i < count; ++i)
            feedAudioListener("x", chunk, 5);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        best = std::min(best, took.count() / count);
    }
    MESSAGE("a chunk for a full queue costs ", best * 1e9, " ns");
    return best;
}

bool signalled(chunkQueue& queue)
{
    return WaitForSingleObject(queue.notEmpty().event(), 0) == WAIT_OBJECT_0;
}

} // namespace

TEST_CASE("a format goes before the audio whenever it changed, and only then")
{
    recorded worker;
    liveFeed feed(worker);
    struct row {
        audio_chunk_impl_t chunk;
        std::string expected; // in front of the samples
    };
    row rows[] = {
        {chunk_of(1), words(3, 20, 44100, 2, 3, 2, 3) + words(1, 32)},
        {chunk_of(2), words(1, 32)},
        {chunk_of(3, 48000), words(3, 20, 48000, 2, 3, 2, 3) + words(1, 32)},
        {chunk_of(4, 48000, 1, 4), words(3, 20, 48000, 1, 4, 1, 4) + words(1, 16)},
        {chunk_of(5, 48000, 1, 0), words(3, 20, 48000, 1, 0, 1, 0) + words(1, 16)},
        {chunk_of(6, 48000, 1, 0, 0), words(1, 0)},
    };
    for (row& each : rows) {
        CAPTURE(each.chunk.get_sample_rate());
        worker.bytes.clear();
        feed.send(each.chunk);
        const size_t size = each.chunk.get_used_size() * sizeof(double);
        REQUIRE(worker.bytes.size() == each.expected.size() + size);
        CHECK(worker.bytes.substr(0, each.expected.size()) == each.expected);
        if (size)
            CHECK(std::memcmp(worker.bytes.data() + each.expected.size(), each.chunk.get_data(), size) == 0);
    }
    audio_chunk_impl_t huge = chunk_of(7);
    huge.set_channels(1u << 20, 0);
    huge.set_sample_count(1u << 9); // 2^32 bytes
    CHECK_THROWS_AS(feed.send(huge), exception_overflow);
}

TEST_CASE("ten chunks wait, oldest first, more cost next to nothing, and the newest instance is the one that "
          "is heard")
{
    listenerImpl listener("x");
    chunkQueue& queue = listener.queue;
    CHECK_FALSE(signalled(queue));
    for (int i = 0; i < 12; ++i)
        listener.onAudio(chunk_of(i), 5);
    CHECK(queue.size() == chunkQueue::limit);
    CHECK(best_cost(chunk_of(12, 192000, 8, 0x63F, 8192)) < 2e-6);
    CHECK(queue.size() == chunkQueue::limit);
    listener.onAudio(chunk_of(20), 7); // dropped, but from here on 7 is the newest
    audio_chunk_impl_t out;
    REQUIRE(queue.pop(out));
    CHECK(out.get_data()[3] == 0);
    listener.onAudio(chunk_of(21), 6);
    CHECK(queue.size() == 9);
    listener.onAudio(chunk_of(22, 48000, 6, 0x3F), 7);
    for (int i = 1; i < 10; ++i) {
        CHECK(signalled(queue));
        REQUIRE(queue.pop(out));
        CHECK(out.get_data()[0] == i);
    }
    REQUIRE(queue.pop(out));
    CHECK(out.get_data()[11] == 22);
    CHECK(out.get_channel_config() == 0x3F);
    CHECK_FALSE(queue.pop(out));
    CHECK_FALSE(signalled(queue));
}
