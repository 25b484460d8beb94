#include "player/services/dialog_keys.h"

#include <algorithm>

namespace player {

void dialog_keys::add(void* dialog)
{
    const auto window = static_cast<HWND>(dialog);
    if (std::find(dialogs_.begin(), dialogs_.end(), window) == dialogs_.end())
        dialogs_.push_back(window);
}

void dialog_keys::remove(void* dialog) noexcept
{
    std::erase(dialogs_, static_cast<HWND>(dialog));
}

bool dialog_keys::take(MSG& message) noexcept
{
    // By index: the call may add and remove dialogs.
    for (size_t i = dialogs_.size(); i-- != 0;) {
        if (i >= dialogs_.size())
            continue;
        const HWND dialog = dialogs_[i];
        if ((message.hwnd == dialog || IsChild(dialog, message.hwnd)) && IsDialogMessageW(dialog, &message))
            return true;
    }
    return false;
}

} // namespace player
