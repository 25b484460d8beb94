#pragma once
#include "player/services/callback_queue.h"

namespace player {

// While it lives, every message loop of the main thread also runs the callbacks of the queue, the loops of
// dialogs and menus included. Made, used and destroyed on the main thread; the queue outlives it.
class queue_window {
public:
    explicit queue_window(callback_queue& queue); // throws exception_win32 when no window can be made
    ~queue_window();
    queue_window(const queue_window&) = delete;
    queue_window& operator=(const queue_window&) = delete;

private:
    callback_queue& queue_;
    HWND window_;
};

} // namespace player
