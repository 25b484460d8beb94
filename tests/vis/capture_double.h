#pragma once
// The player's captured stream, without a player: a test delivers what it wants.

#include "sdk/playback_stream_capture.h"
#include "support/chunks.h"
#include "support/dialog_host.h"

#include <doctest/doctest.h>

#include <vector>

class capture_double : public playback_stream_capture_v2 {
public:
    using service_interface = playback_stream_capture_v2;

    void add_callback(playback_stream_capture_callback&) override { FAIL("without an interval"); }
    void add_callback_v2(playback_stream_capture_callback& callback, double seconds) override
    {
        CHECK(seconds == 0.01);
        callbacks.push_back(&callback);
    }
    void remove_callback(playback_stream_capture_callback& callback) noexcept override
    {
        std::erase(callbacks, &callback);
    }

    std::vector<playback_stream_capture_callback*> callbacks;
};

struct vis_fixture {
    vis_fixture() { player.host.add_service(playback_stream_capture::class_guid, capture); }
    void deliver(const audio_chunk& chunk)
    {
        for (auto* const callback : std::vector(capture->callbacks))
            callback->on_chunk(chunk);
    }
    // Whether no instance is registered any more.
    bool gone(double limit_seconds = 5)
    {
        return player.run_until([&] { return capture->callbacks.empty(); }, limit_seconds);
    }

    dialog_host player;
    service_ptr_t<capture_double> capture = service_new<capture_double>();
};
