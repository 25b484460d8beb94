#pragma once
// Running code on threads of the player's, so that the player knows when no thread is inside a component any
// more.

#include "sdk/service.h"

#include <functional>

class runnable : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xb47f7cc7, 0x6a29, 0x45d1, {0x97, 0xb3, 0xc0, 0xd1, 0x2b, 0xae, 0x46, 0x34}};

    virtual void run() noexcept = 0;

protected:
    ~runnable() = default;
};

// A function as a runnable, to be run once at most: what it holds is released where it ran, or with the
// runnable when it never did. What it throws is dropped.
service_ptr_t<runnable> make_runnable(std::function<void()> work);

// Exists exactly once. At shut-down the player signals the application's abort token, then waits (bounded)
// until every work item has returned and its last reference is gone before it unloads the component.
class detached_threads : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xf6fcbbb6, 0xcd78, 0x45e0, {0xb9, 0xd2, 0x22, 0xcb, 0xee, 0x7a, 0xc8, 0xfd}};

    // Runs `work` at once on a thread of its own. Nobody joins it. Any thread may call. Throws
    // exception_win32 when no thread can be made.
    virtual void run_detached(runnable& work) = 0;

protected:
    ~detached_threads() = default;
};

// The same for a function, which is destroyed on that thread. What it throws ends the thread quietly. Also
// throws exception_host_bug_check unless the player has exactly one detached_threads.
void run_detached(std::function<void()> work);
