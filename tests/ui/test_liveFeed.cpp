// The queue of live audio.

#include "ui/listenerImpl.h"

#include "support/chunks.h"

#include <doctest/doctest.h>

TEST_CASE("ten chunks wait, oldest first, and the newest instance is the one that is heard")
{
    const auto signalled = [](chunkQueue& queue) {
        return WaitForSingleObject(queue.notEmpty().event(), 0) == WAIT_OBJECT_0;
    };
    listenerImpl listener("x");
    chunkQueue& queue = listener.queue;
    CHECK_FALSE(signalled(queue));
    for (int i = 0; i < 12; ++i)
        listener.onAudio(chunk_of(i), 5);
    listener.onAudio(chunk_of(20), 7); // dropped, but from here on 7 is the newest
    audio_chunk_impl_t out;
    REQUIRE(queue.pop(out));
    CHECK(out.get_data()[3] == 0);
    listener.onAudio(chunk_of(21), 6);
    listener.onAudio(chunk_of(22, 2, 6, 0x3F, 48000), 7);
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
