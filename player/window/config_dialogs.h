#pragma once
#include "player/chain/live_chain.h"
#include "sdk/service.h"

#include <windows.h>

#include <map>
#include <optional>

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
    // The DSP goes from the chain when its open dialog is closed without a change: it was added to be
    // configured.
    void remove_if_left_as_is(uint64_t slot);
    // Of slots that are not in the chain any more.
    void close_orphans();
    void close_all();

private:
    class edit_callback;
    struct entry {
        service_ptr_t<service_base> dialog;
        HWND window = nullptr;                     // where it is known
        std::optional<dsp_preset_impl> removed_as; // see remove_if_left_as_is
    };
    void done(uint64_t slot);
    bool is_left_as_is(uint64_t slot) const;

    live_chain& chain_;
    std::map<uint64_t, entry> open_;
};

} // namespace player
