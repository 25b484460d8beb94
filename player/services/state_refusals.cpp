#include "player/services/state_refusals.h"

#include <exception>

namespace player {

namespace {

// docs/worker-protocol.md, "States".
constexpr std::string_view before_reason = "the effect's state cannot be used: ";
constexpr std::string_view after_reason = "; it starts with its defaults";

} // namespace

void state_refusals::hear(std::string_view line) noexcept
{
    const size_t at = line.find(before_reason);
    if (at == std::string_view::npos || any_)
        return;
    try {
        const std::string_view rest = line.substr(at + before_reason.size());
        const std::lock_guard lock(mutex_);
        if (first_reason_.empty())
            first_reason_ = rest.substr(0, rest.find(after_reason));
    } catch (const std::exception&) {
        // It counts without its reason.
    }
    any_ = true;
}

std::string state_refusals::first_reason() const
{
    const std::lock_guard lock(mutex_);
    return first_reason_;
}

} // namespace player
