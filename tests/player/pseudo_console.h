#pragma once
// Runs a program in a console of its own that no window shows: its standard streams are the console's, what
// it draws is text here, and Ctrl+C can be pressed.

#include "win/handle.h"

#include <mutex>
#include <string>
#include <thread>
#include <vector>

class pseudo_console {
public:
    // Starts the program at once. Throws std::runtime_error when this system cannot do that.
    pseudo_console(const std::string& program, const std::vector<std::string>& arguments, short columns);
    ~pseudo_console(); // ends the program
    pseudo_console(const pseudo_console&) = delete;
    pseudo_console& operator=(const pseudo_console&) = delete;

    void press_ctrl_c() const; // once
    // Everything drawn so far, control sequences taken out.
    std::string drawn() const;
    // Waits until this was drawn; false at the limit (20 s).
    bool wait_for(const std::string& text) const;
    // Waits for the end of the program, at most so long; false when it still runs.
    bool wait_for_end(unsigned limit_ms, unsigned& exit_code) const;

private:
    void read();

    win::file_handle input_;   // the keyboard
    win::file_handle output_;  // the screen
    win::kernel_handle press_; // event: Ctrl+C is to be pressed
    void* console_ = nullptr;
    win::kernel_handle process_;
    mutable std::mutex mutex_;
    std::string bytes_;
    std::thread reader_;
};
