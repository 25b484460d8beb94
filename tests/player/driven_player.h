#pragma once
// The player's window in a process of its own, driven by messages and read by its texts.

#include "chain_fixture.h"

#include <functional>

class driven_player {
public:
    // With the fixture's store; throws when no window comes. With a chain of such modules, which plays
    // in.wav, or (none) with what the player before it left. What is heard is written to `capture` when there
    // is a name.
    driven_player(const chain_fixture& files, const strings& chain, const std::string& capture = {});
    ~driven_player(); // ends it by force, when it still runs
    driven_player(const driven_player&) = delete;
    driven_player& operator=(const driven_player&) = delete;

    HWND window() const { return window_; }
    HWND control(int id) const { return GetDlgItem(window_, id); }
    std::string text(int id) const;
    void click(int id) const; // a button or menu item
    void press_in_chain(WPARAM key) const;
    void seek(double seconds) const;
    bool is_shown(int id) const { return IsWindowVisible(control(id)) != 0; }
    // A window of the process beside the main one that is seen; null: none.
    HWND other_window() const;
    size_t worker_count() const;
    DWORD id() const { return GetProcessId(process_.get()); }
    size_t private_bytes() const;

    // False at the limit of 30 seconds.
    bool wait_until(const std::function<bool()>& done) const;
    void play() const;               // once that can be done
    bool hears(double second) const; // once so many are heard; 0 comes again behind the end
    void open_menu() const;
    void open_and_close_menu() const;
    void close_other_window() const;
    // Closes it and checks that it ends at once and leaves nothing.
    void close();

private:
    win::kernel_handle process_;
    HWND window_ = nullptr;
};
