#pragma once
// The player's host in this program, with a store of its own.

#include "player/host/player_host.h"
#include "player/services/json_config_store.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

struct running_host {
    explicit running_host(const std::function<void(player::player_host&)>& prepare = {},
                          player::console_log::sink_t console = {})
        : host(std::move(console), service_new<player::json_config_store>(folder.path("config.json")))
    {
        if (prepare)
            prepare(host);
        host.start();
    }
    // Runs callbacks until `done`; false when it is not after 20 seconds.
    bool run_until(const std::function<bool()>& done)
    {
        return wait_until(done, 20, [this] {
            host.main_queue().wait(std::chrono::milliseconds(100));
            host.main_queue().run_pending();
        });
    }

    temp_folder folder;
    player::player_host host;
};
