#include "player/host/player_host.h"

#include "player/services/chain_service.h"
#include "player/services/md5_hasher.h"
#include "player/services/native_filesystem.h"
#include "player/services/system_shell.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/initquit.h"

namespace player {

namespace {

// Keeps one failing step of the shut-down from skipping the others.
template <class Step>
void run_step(console_log& console, const char* name, Step&& step) noexcept
{
    std::string text;
    try {
        step();
        return;
    } catch (const std::exception& error) {
        text = std::string(name) + ": " + error.what();
    } catch (...) {
        text = std::string(name) + ": unknown failure";
    }
    console.print_line(text.data(), text.size());
}

} // namespace

class player_host::app_abort_impl : public app_abort {
public:
    using service_interface = app_abort;
    abort_callback& get_token() noexcept override { return token; }
    abort_callback_impl token;
};

player_host::player_host(console_log::sink_t console_sink, service_ptr_t<config_store> store)
    : refusals_(std::make_shared<state_refusals>())
    , console_(service_new<console_log>([heard = refusals_, sink = std::move(console_sink)](auto line) {
        heard->hear(line);
        if (sink)
            sink(line);
    }))
    , store_(std::move(store))
    , threads_(service_new<thread_pool>())
    , tasks_(service_new<task_runner>(threads_))
    , queue_(service_new<callback_queue>())
    , app_abort_(service_new<app_abort_impl>())
    , capture_(service_new<stream_capture>(queue_))
    , dialogs_(service_new<dialog_keys>())
    , theme_(service_new<theme>(store_))
{
    add_service(console_service::class_guid, console_);
    add_service(config_store::class_guid, store_);
    add_service(filesystem::class_guid, service_new<native_filesystem>());
    add_service(detached_threads::class_guid, threads_);
    add_service(background_tasks::class_guid, tasks_);
    add_service(main_thread_queue::class_guid, queue_);
    add_service(app_abort::class_guid, app_abort_);
    add_service(dsp_config_manager::class_guid, service_new<chain_service>(chain_));
    add_service(playback_stream_capture::class_guid, capture_);
    add_service(hasher_md5::class_guid, service_new<md5_hasher>());
    add_service(shell_service::class_guid, service_new<system_shell>());
    add_service(file_dialog_service::class_guid, service_new<system_folder_picker>());
    add_service(modeless_dialogs::class_guid, dialogs_);
    add_service(user_interface::class_guid, theme_);
    core_api::set_host(this);
}

player_host::~player_host()
{
    shut_down();
    core_api::set_host(nullptr);
}

void player_host::add_service(const guid_t& class_guid, service_ptr_t<service_base> service)
{
    own_.push_back({class_guid, std::move(service)});
}

void player_host::load_component(const std::string& path)
{
    component_ = std::make_unique<component_module>(path, *this);
}

void player_host::start()
{
    phase_ = phase::running;
    if (component_)
        component_->client().services_init(true);
    service_enumerate<initquit>([](initquit& actions) {
        actions.on_init();
        return true;
    });
}

bool player_host::let_threads_end(std::chrono::milliseconds limit)
{
    return threads_->wait_until_idle(limit);
}

bool player_host::shut_down(const std::function<void()>& destroy_instances,
                            const std::function<void()>& save) noexcept
{
    const phase before = phase_;
    if (before >= phase::shutting_down)
        return clean_;
    phase_ = phase::shutting_down;
    app_abort_->token.abort();
    if (destroy_instances)
        run_step(*console_, "destroying DSP instances", destroy_instances);
    if (before == phase::running) {
        run_step(*console_, "quit action", [] {
            service_enumerate<initquit>([](initquit& actions) {
                actions.on_quit();
                return true;
            });
        });
    }
    // The store itself is on the disk: every change was written when it was made.
    if (save)
        run_step(*console_, "saving", save);
    if (before == phase::running) {
        if (component_)
            run_step(*console_, "end of services", [this] { component_->client().services_init(false); });
    }
    tasks_->close();
    queue_->close();
    clean_ = threads_->wait_until_idle(thread_patience);
    // A thread that is still inside may look services up at any time: nothing it can reach goes away then.
    if (clean_) {
        phase_ = phase::over;
        component_.reset();
    } else {
        static_cast<void>(component_.release());
    }
    return clean_;
}

service_factory_base* player_host::component_services() const noexcept
{
    return component_ ? component_->services() : nullptr;
}

bool player_host::are_services_available() const noexcept
{
    const phase now = phase_;
    return now == phase::running || now == phase::shutting_down;
}

size_t player_host::get_service_count(const guid_t& class_guid) const noexcept
{
    if (!are_services_available())
        return 0;
    size_t count = 0;
    for (const own_service& own : own_)
        count += own.class_guid == class_guid;
    for (const auto* factory = component_services(); factory; factory = factory->get_next())
        count += factory->get_class_guid() == class_guid;
    return count;
}

void player_host::get_service(service_ptr_t<service_base>& out, const guid_t& class_guid, size_t index)
{
    out.release();
    if (!are_services_available())
        return;
    for (const own_service& own : own_) {
        if (own.class_guid == class_guid && index-- == 0) {
            out = own.service;
            return;
        }
    }
    for (auto* factory = component_services(); factory; factory = factory->get_next()) {
        if (factory->get_class_guid() == class_guid && index-- == 0)
            return factory->instance_create(out);
    }
}

} // namespace player
