#pragma once
// The player's window in a process of its own, driven by messages and read by its texts.

#include "chain_fixture.h"

#include <functional>
#include <optional>

class driven_player {
public:
    static constexpr DWORD limit_ms = 30'000;

    // With a store in the fixture's folder, whose chain is `chain`, made of --effect modules. Throws when no
    // window comes.
    driven_player(const chain_fixture& files, const std::vector<std::string>& arguments);
    ~driven_player(); // ends it by force, when it still runs
    driven_player(const driven_player&) = delete;
    driven_player& operator=(const driven_player&) = delete;

    // The chain that the next player with this store begins with.
    static void store_chain(const chain_fixture& files, const std::vector<std::string>& modules);

    HWND window() const { return window_; }
    HWND control(int id) const { return GetDlgItem(window_, id); }
    std::string text(int id) const;
    void click(int id) const; // a button or menu item
    void press(int id, WPARAM key) const;
    void seek(double seconds) const;
    bool is_shown(int id) const { return IsWindowVisible(control(id)) != 0; }
    // A window of the process beside the main one that is seen; null: none.
    HWND other_window() const;
    size_t worker_count() const;
    size_t handle_count() const;
    size_t private_bytes() const;

    // False at the limit.
    static bool wait_until(const std::function<bool()>& done, DWORD limit = limit_ms);
    // True once so many seconds are heard.
    bool hears(double seconds) const;

    struct ending {
        double seconds = 0;
        DWORD exit_code = 0;
        size_t workers_left = 0;
    };
    ending close();
    // Closes it and checks that it ends at once and leaves nothing.
    void close_cleanly();

private:
    const chain_fixture& files_;
    win::kernel_handle process_;
    HWND window_ = nullptr;
};
