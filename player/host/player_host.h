#pragma once
#include "player/chain/live_chain.h"
#include "player/host/component_module.h"
#include "player/services/callback_queue.h"
#include "player/services/console_log.h"
#include "player/services/dialog_keys.h"
#include "player/services/state_refusals.h"
#include "player/services/stream_capture.h"
#include "player/services/task_runner.h"
#include "player/services/theme.h"
#include "player/services/thread_pool.h"
#include "sdk/app_abort.h"
#include "sdk/config_store.h"
#include "sdk/filesystem.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace player {

// The host's side of the boundary: the registry of services and the life of the component. Make it on the
// thread that is to be the main thread, once per process at a time: module-wide look-ups (core_api) go to it.
class player_host final : public host_api {
public:
    // What a component may wait for threads at shut-down.
    static constexpr std::chrono::seconds thread_patience{3};
    // For the last lines of workers that have ended. They take milliseconds, unless the machine is busy: then
    // half a second was seen to lose lines.
    static constexpr std::chrono::seconds last_words_limit{5};

    // Registers every service that a component may ask for: the console, the store, the file system, the
    // threads, the background tasks, the main-thread queue, the abort token, the chain, the stream capture,
    // the hasher, boxes and pickers, dialog keys and the theme. Without a window there are simply nobody's
    // dialogs, no sound and an empty chain.
    player_host(console_log::sink_t console_sink, service_ptr_t<config_store> store);
    ~player_host(); // shuts down if nobody did
    player_host(const player_host&) = delete;
    player_host& operator=(const player_host&) = delete;

    // One more service of the player's own; before start().
    void add_service(const guid_t& class_guid, service_ptr_t<service_base> service);
    // At most one component; before start(). Throws player_error.
    void load_component(const std::string& path);
    // Makes the services available, tells the component and runs the init actions. Throws what they throw.
    void start();

    // Lets the component's threads end by themselves, after its DSP instances are gone: what a worker said
    // last is on its way through such a thread, and the abort token would cut it off. False when some still
    // run at the limit.
    bool let_threads_end(std::chrono::milliseconds limit = last_words_limit);

    // The one order in which everything ends: says "shutting down", signals the application's abort token,
    // lets `destroy_instances` destroy DSP instances and dialogs, runs the quit actions, which may still
    // change the chain, lets `save` store what has to be stored, drops the main-thread queue and the tasks
    // that have not begun, waits for the component's threads, unloads. False when threads stayed inside the
    // component: it stays loaded, and the process has to end without running its static destructors. What the
    // steps throw is kept away from the ones after them.
    bool shut_down(const std::function<void()>& destroy_instances = {},
                   const std::function<void()>& save = {}) noexcept;

    console_log& console() noexcept { return *console_; }
    const state_refusals& refusals() const noexcept { return *refusals_; }
    config_store& store() noexcept { return *store_; }
    // Nobody takes callbacks out of it but the main thread's loop, whatever that is.
    callback_queue& main_queue() noexcept { return *queue_; }
    live_chain& chain() noexcept { return chain_; }
    stream_capture& capture() noexcept { return *capture_; }
    dialog_keys& dialogs() noexcept { return *dialogs_; }
    theme& look() noexcept { return *theme_; }
    // What components get as the parent of their dialogs; null: there is none (any more).
    void set_main_window(HWND window) noexcept { main_window_ = window; }
    // The component's factories, the last registered first; null without a component.
    service_factory_base* component_services() const noexcept;

    uint32_t get_version() const noexcept override { return current_version; }
    size_t get_service_count(const guid_t& class_guid) const noexcept override;
    void get_service(service_ptr_t<service_base>& out, const guid_t& class_guid, size_t index) override;
    void* get_main_window() const noexcept override { return main_window_; }
    bool is_main_thread() const noexcept override { return GetCurrentThreadId() == main_thread_; }
    bool is_shutting_down() const noexcept override { return phase_ >= phase::shutting_down; }
    bool are_services_available() const noexcept override;

private:
    // Only ever goes forward.
    enum class phase {
        made,          // services are registered, nobody can look them up
        running,       // services are available
        shutting_down, // still available: quit actions and threads that end use them
        over,          // the component is gone
    };
    struct own_service {
        guid_t class_guid;
        service_ptr_t<service_base> service;
    };
    class app_abort_impl;

    DWORD main_thread_ = GetCurrentThreadId();
    std::atomic<HWND> main_window_{nullptr};
    live_chain chain_; // its service refers to it
    std::atomic<phase> phase_{phase::made};
    bool clean_ = true;
    std::shared_ptr<state_refusals> refusals_; // shared with the console, which threads may hold longer
    service_ptr_t<console_log> console_;
    service_ptr_t<config_store> store_;
    service_ptr_t<thread_pool> threads_;
    service_ptr_t<task_runner> tasks_;
    service_ptr_t<callback_queue> queue_;
    service_ptr_t<app_abort_impl> app_abort_;
    service_ptr_t<stream_capture> capture_;
    service_ptr_t<dialog_keys> dialogs_;
    service_ptr_t<theme> theme_;
    std::vector<own_service> own_; // constant once running
    std::unique_ptr<component_module> component_;
};

} // namespace player
