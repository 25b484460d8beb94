#pragma once
#include "player/live_chain.h"
#include "sdk/service.h"

#include <windows.h>

#include <map>

namespace player {

// The configuration dialogs of the chain's DSPs, at most one each. What is changed in one goes into the chain
// at once. Main thread.
class config_dialogs {
public:
    explicit config_dialogs(live_chain& chain)
        : chain_(chain)
    {
    }
    ~config_dialogs() { close_all(); }
    config_dialogs(const config_dialogs&) = delete;
    config_dialogs& operator=(const config_dialogs&) = delete;

    // Opens it, or brings the open one to the front. Throws what the component throws; player_error when the
    // DSP has none.
    void open(uint64_t slot, HWND parent);
    // Of slots that are not in the chain any more.
    void close_orphans();
    void close_all();

private:
    class edit_callback;
    struct entry {
        service_ptr_t<service_base> dialog;
        HWND window = nullptr; // where it is known
    };
    void done(uint64_t slot);

    live_chain& chain_;
    std::map<uint64_t, entry> open_;
};

} // namespace player
