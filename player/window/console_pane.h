#pragma once
#include "player/window/toolkit.h"

#include <deque>
#include <mutex>
#include <string>
#include <string_view>

namespace player {

// Lines on their way from any thread to the pane. Outlives both.
class console_lines {
public:
    static constexpr size_t most_waiting = 2000; // then the oldest go

    void add(std::string_view line);
    std::string take(); // all that wait, each with a line end

    // Who is posted `message` when lines wait; null: nobody.
    void set_receiver(HWND window, UINT message);

private:
    std::mutex mutex_;
    std::deque<std::string> waiting_;
    HWND receiver_ = nullptr;
    UINT message_ = 0;
    bool posted_ = false;
};

// The console: what components and workers said, to be copied and cleared. Main thread.
class console_pane {
public:
    explicit console_pane(HWND parent);

    void append(const std::string& lines);
    bool command(int id); // false: not one of its own
    void arrange(const appearance& look, int left, int top, int width, int height) const;

private:
    void copy() const;
    void cut_old();

    HWND label_, text_, copy_, clear_;
};

} // namespace player
