#pragma once
// Editors from the player's side: an owner window, the worker's window found by its process, and messages to
// it. Every wait is bounded.

#include "support/temp_folder.h"
#include "support/wait_until.h"
#include "vsthost/module_cases.h"

#include <windows.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace editor_driver {

using namespace module_cases;

inline bool wait_until(const std::function<bool()>& holds, unsigned milliseconds = 10000)
{
    return ::wait_until(holds, milliseconds / 1000.0, [] { Sleep(5); });
}

// A player's window on a thread of its own that takes messages, as long as it is told to.
class player_window {
public:
    player_window();
    ~player_window();
    player_window(const player_window&) = delete;
    player_window& operator=(const player_window&) = delete;

    HWND handle() const { return window_; }
    // From now on the thread waits for `process` and takes sent messages only.
    void join_process(HANDLE process) { joined_ = process; }

private:
    void run();

    std::atomic<HWND> window_{nullptr};
    std::atomic<HANDLE> joined_{nullptr};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// The last eight digits, as the command line has them.
std::string digits_of(HWND window);

struct editing {
    kind which;
    std::string name; // of the module
    bool live = false;
    bool with_data = true;
    bool dpi_aware = false;
    double level = 0.5; // in the state file at the start; below 0: the file is empty
    std::vector<std::string> options = {};
};

// A worker in an editor mode with its state file.
class editor {
public:
    explicit editor(const editing& how);

    worker& process() { return *worker_; }
    // The visible window around the editor, once it is there; null when none comes.
    HWND frame();
    // The window of the module's editor.
    HWND inside();
    void tell(unsigned what, uintptr_t wide = 0, intptr_t large = 0); // posted
    std::string said();                                               // the editor window's text
    bool says(const std::string& word, unsigned milliseconds = 5000);
    // By the user; checks that the worker ends as it should.
    void close();

    std::string data() const { return folder_.path("state"); }
    // What it holds; tried again while it is being replaced.
    std::vector<uint8_t> file() const;
    // True when the state file holds this "Level" within the time.
    bool holds(double level, unsigned milliseconds);
    // What the folder holds beside the state file.
    std::vector<std::string> leftovers() const;

private:
    editing how_;
    temp_folder folder_;
    std::optional<worker> worker_;
};

SIZE client_size(HWND window);
// What the screen shows of it once there is something to be seen that has stood for a moment, or is older
// than two seconds.
std::vector<uint32_t> painted(HWND window);

} // namespace editor_driver
