#pragma once
#include "sdk/user_interface.h"

#include <windows.h>

#include <vector>

namespace player {

// The modeless dialogs that get the dialog keys. Main thread.
class dialog_keys : public modeless_dialogs {
public:
    using service_interface = modeless_dialogs;

    void add(void* dialog) override;
    void remove(void* dialog) noexcept override;

    // For every message of the player's loop: true when a dialog took it as one of its keys; it is done then.
    bool take(MSG& message) noexcept;

private:
    std::vector<HWND> dialogs_;
};

} // namespace player
