#pragma once
// A scan that runs while its caller stays responsive.

#include "catalogue/scanFolders.h"

#include <functional>
#include <memory>
#include <vector>

// At most one scan at a time, on one of the player's background threads. Main thread only, also the
// destructor, which cancels.
class background_scan {
public:
    // Main thread. Called at most once; may begin anew or destroy the background_scan.
    using deliver_t = std::function<void(std::vector<vstConfig_t> found)>;

    background_scan() = default;
    ~background_scan() { cancel(); }
    background_scan(const background_scan&) = delete;
    background_scan& operator=(const background_scan&) = delete;

    // Cancels the scan before and begins one through getScanFolders(). The result comes through the player's
    // main-thread queue, never inside this call, and whatever happens to the scan: with what was found when
    // it failed, empty when nothing was. Throws exception_host_bug_check or exception_win32 when the scan
    // cannot be begun; then nothing is delivered.
    void begin(deliver_t deliver);
    // The same through other folders. The observer is called on the scanning thread, and may be so for a
    // moment after a cancel.
    void begin(std::vector<vstFolder_t> folders, deliver_t deliver,
               std::shared_ptr<scan_observer> observer = nullptr);

    // From here on nothing of the scan is delivered, also when it has ended and its result is on its way.
    // Does not wait for it.
    void cancel() noexcept;

private:
    struct run_t;
    std::shared_ptr<run_t> run_;
};
