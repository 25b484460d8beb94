#pragma once
// Running code on the main thread.

#include "sdk/threads.h"

// Exists exactly once.
class main_thread_queue : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x31b77800, 0xe5b1, 0x4a39, {0x8e, 0xb0, 0x5a, 0xfc, 0x4b, 0x2b, 0xf9, 0x84}};

    // Runs `callback` once on the main thread, in the order of posting, from the player's message loop or one
    // that a dialog runs; never inside this call. Any thread. Never wait for a callback: the main thread may
    // be waiting for the caller. From a certain point of the shut-down on, nothing is run any more: callbacks
    // that wait then are released on the main thread, later ones at once by this call. What a callback holds
    // must therefore be able to go on any thread.
    virtual void post(runnable& callback) = 0;

protected:
    ~main_thread_queue() = default;
};

// The same for a function. What it throws is dropped. Throws exception_host_bug_check when the player has no
// such queue.
void post_to_main_thread(std::function<void()> callback);
