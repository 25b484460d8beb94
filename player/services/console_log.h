#pragma once
#include "sdk/console.h"

#include <functional>
#include <mutex>
#include <string_view>

namespace player {

// The player's console: hands each line to a sink, one at a time.
class console_log : public console_service {
public:
    using service_interface = console_service;
    using sink_t = std::function<void(std::string_view line)>;

    // The sink is called under a lock, from any thread, and must not print to the console itself. An empty
    // one drops the lines.
    explicit console_log(sink_t sink)
        : sink_(std::move(sink))
    {
    }

    void print_line(const char* utf8, size_t byte_count) noexcept override;

    // Lines that come later are dropped: from here on the player's own last line stays the last one.
    void close() noexcept;

private:
    std::mutex mutex_;
    sink_t sink_;
};

// Each line to standard error.
console_log::sink_t stderr_sink();

} // namespace player
