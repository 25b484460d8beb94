#pragma once
// Work that takes a while, on threads that the player keeps for it.

#include "sdk/threads.h"

// Exists exactly once.
class background_tasks : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xdd96e30c, 0xb9f0, 0x4563, {0x96, 0x7a, 0xdb, 0x85, 0xa8, 0xa4, 0x57, 0x30}};

    // Runs `task` once on one of the player's background threads: soon, but when many tasks run it waits for
    // one of them to end. Tasks may run side by side. Any thread may call. A task that may take long has a
    // token of its own and its owner sets it at the latest when the player shuts down: the player then waits
    // (bounded) for the tasks that run, and releases those that have not begun, and all later ones, without
    // running them. Throws exception_win32 when no thread can be made.
    virtual void run(runnable& task) = 0;

protected:
    ~background_tasks() = default;
};

// The same for a function. What it throws is dropped. Throws exception_host_bug_check when the player has no
// background tasks.
void run_in_background(std::function<void()> task);
