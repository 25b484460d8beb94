#pragma once
#include "catalogue/scanFolders.h"

#include <cstdint>
#include <mutex>
#include <string>

namespace player {

// How far a scan is. Written by the scanning thread, read by any.
class scan_progress final : public scan_observer {
public:
    struct state {
        uint64_t folders = 0;    // listed or being listed
        uint64_t candidates = 0; // inspected or being inspected
        std::string path;        // of the last of either
    };

    void on_folder(const std::string& path) override { update(&state::folders, path); }
    void on_candidate(const std::string& path) override { update(&state::candidates, path); }

    state get() const;

private:
    void update(uint64_t state::*count, const std::string& path);

    mutable std::mutex mutex_;
    state state_;
};

// "12 folders, 345 candidates: C:/...", at most `cells` wide: of a path that is too long its end is shown.
std::string scan_progress_text(uint64_t folders, uint64_t candidates, const std::string& path, size_t cells);

} // namespace player
