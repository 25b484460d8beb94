#pragma once
// What the player plays, after the DSP chain, for whoever wants to show it.

#include "sdk/audio_chunk.h"
#include "sdk/host_api.h"

class playback_stream_capture_callback {
public:
    // One piece of the stream, only valid during the call. Main thread, from a message loop; never from
    // inside an operation of the service. It must return soon, and what it throws is dropped.
    virtual void on_chunk(const audio_chunk& chunk) = 0;

protected:
    ~playback_stream_capture_callback() = default;
};

// Exists exactly once. Main thread only: since delivery is there as well, nothing is delivered any more once
// remove_callback has returned. A callback may add and remove callbacks, itself included.
class playback_stream_capture : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x9423439e, 0x8cd5, 0x45d7, {0xaa, 0x6d, 0x4b, 0x98, 0x0c, 0x22, 0x93, 0x3e}};

    virtual void add_callback(playback_stream_capture_callback& callback) = 0;             // pieces of 0.1 s
    virtual void remove_callback(playback_stream_capture_callback& callback) noexcept = 0; // unknown: nothing

protected:
    ~playback_stream_capture() = default;
};

class playback_stream_capture_v2 : public playback_stream_capture {
public:
    using parent = playback_stream_capture;
    static constexpr guid_t class_guid = {
        0x801e6865, 0x6040, 0x42a6, {0x8c, 0x43, 0x57, 0x91, 0x8a, 0xdc, 0xee, 0xb7}};

    // Pieces of about `seconds`, 0.005 to 1; other values are moved into that range.
    virtual void add_callback_v2(playback_stream_capture_callback& callback, double seconds) = 0;

protected:
    ~playback_stream_capture_v2() = default;
};

// Registered as long as it lives; made and destroyed on the main thread.
class playback_stream_capture_callback_impl : public playback_stream_capture_callback {
public:
    playback_stream_capture_callback_impl(const playback_stream_capture_callback_impl&) = delete;
    playback_stream_capture_callback_impl& operator=(const playback_stream_capture_callback_impl&) = delete;

protected:
    // Throws exception_host_bug_check without the service or off the main thread.
    explicit playback_stream_capture_callback_impl(double seconds)
    {
        core_api::ensure_main_thread();
        const auto service = service_get_unique<playback_stream_capture>();
        const auto second = service_query_as<playback_stream_capture_v2>(*service);
        if (!second)
            throw exception_host_bug_check("forced cast failure");
        second->add_callback_v2(*this, seconds);
        service_ = second;
    }
    ~playback_stream_capture_callback_impl() { service_->remove_callback(*this); }

private:
    service_ptr_t<playback_stream_capture> service_;
};
