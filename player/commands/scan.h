#pragma once
// One scan for effects, as the scan command runs it.

#include "catalogue/vstConfig.h"
#include "player/host/player_host.h"

#include <functional>
#include <string>
#include <vector>

namespace player {

// Told some times a second how far the scan is; on the main thread.
using scan_show = std::function<void(uint64_t folders, uint64_t candidates, const std::string& path)>;

struct scan_report {
    std::vector<vstConfig_t> found; // in scan order
    bool stopped = false;           // then nothing is found
};

// Scans these folders, or those of the settings when there are none, on a background task of the host, whose
// services are available. Returns at once when `stop` is set, even while the task hangs in a folder that does
// not answer. `show` may be empty. Main thread. Throws player_error for a folder that does not exist, before
// anything is scanned; a folder that fails later puts two lines on the console.
scan_report scan(const std::vector<std::string>& folders, player_host& host, abort_callback& stop,
                 const scan_show& show);

} // namespace player
