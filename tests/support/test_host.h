#pragma once
// A small player for tests: the services that the worker link and the DSP ask for, and nothing else.

#include "sdk/abort_callback_impl.h"
#include "sdk/app_abort.h"
#include "sdk/console.h"
#include "sdk/filesystem.h"
#include "sdk/host_api.h"
#include "sdk/threads.h"
#include "support/memory_store.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// Is the module's host from construction to destruction; one at a time. The constructing thread is the main
// thread. Everything else may be called from any thread.
class test_host final : public host_api {
public:
    test_host();
    // Shuts down: signals the application's token and waits (10 s, then ends the process with a line) until
    // no detached thread is left.
    ~test_host();
    test_host(const test_host&) = delete;
    test_host& operator=(const test_host&) = delete;

    // The console's lines so far, in order.
    std::vector<std::string> console_lines() const;
    void clear_console();
    // Waits until the console holds this line; false at the limit.
    bool wait_for_line(const std::string& line, double limit_seconds = 10);

    // Threads that run detached work now. The wait ends when no more than `left` are; it is false at the
    // limit.
    size_t detached_count() const;
    bool wait_until_detached_done(double limit_seconds = 10, size_t left = 0);
    // From here on run_detached throws exception_win32(8) / works again.
    void refuse_detached(bool refuse);

    // One more; before anybody else looks services up.
    void add_service(const guid_t& class_guid, service_ptr_t<service_base> service)
    {
        services_.emplace_back(class_guid, std::move(service));
    }
    // Takes a service away (it then exists 0 times), or gives it back.
    void hide_service(const guid_t& class_guid, bool hide);

    abort_callback_impl app_token;
    std::atomic<void*> main_window{nullptr}; // HWND
    uint32_t version = current_version;
    config_store& store() noexcept { return *store_; }

    // Paths that begin with "test://" are not native: the native form is what follows.
    static constexpr const char* path_scheme = "test://";

    uint32_t get_version() const noexcept override { return version; }
    size_t get_service_count(const guid_t& class_guid) const noexcept override;
    void get_service(service_ptr_t<service_base>& out, const guid_t& class_guid, size_t index) override;
    void* get_main_window() const noexcept override { return main_window; }
    bool is_main_thread() const noexcept override;
    bool is_shutting_down() const noexcept override { return app_token.is_aborting(); }
    bool are_services_available() const noexcept override { return true; }

private:
    struct state; // outlives the host: a service may still be held
    struct part;
    class console_impl;
    class threads_impl;
    class abort_impl;
    class filesystem_impl;

    std::shared_ptr<state> state_;
    service_ptr_t<counting_store> store_ = service_new<counting_store>();
    std::vector<std::pair<guid_t, service_ptr_t<service_base>>> services_;
    uint32_t main_thread_;
};
