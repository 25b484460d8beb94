#pragma once
#include "sdk/initquit.h"

#include <functional>

// What the component does when the player quits: each action stops one thing that outlives its caller.
class quit_actions : public initquit {
public:
    using service_class = initquit;
    using service_interface = initquit;

    void on_init() override {}
    void on_quit() override;
};

// Adds an action; they run in reverse order of their adding, once, on the main thread. Main thread.
void add_quit_action(std::function<void()> action);
