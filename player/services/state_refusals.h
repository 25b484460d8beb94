#pragma once
#include <atomic>
#include <mutex>
#include <string>
#include <string_view>

namespace player {

// Hears on the console that an effect did not take the state that it was given and works with its defaults
// instead. Nothing else tells: for the component such an effect is as good as any. Any thread.
class state_refusals {
public:
    // Every line of the console. A worker says it before it hands out any sound, but the line may arrive
    // after that.
    void hear(std::string_view line) noexcept;

    bool any() const noexcept { return any_; }
    std::string first_reason() const; // in the worker's words; empty while there is none

private:
    std::atomic<bool> any_{false};
    mutable std::mutex mutex_; // guards what follows
    std::string first_reason_;
};

} // namespace player
