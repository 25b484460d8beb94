#include "support/test_host.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

struct test_host::state {
    // Waits with the mutex held until `done()`.
    template <class Done>
    bool wait(double limit_seconds, Done&& done)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::duration<double>(limit_seconds), std::forward<Done>(done));
    }

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> lines;
    std::vector<guid_t> hidden;
    size_t detached = 0;
    bool refuse_detached = false;
};

// A service of it.
struct test_host::part {
    explicit part(std::shared_ptr<state> shared)
        : state_(std::move(shared))
    {
    }
    std::shared_ptr<state> state_;
};

class test_host::console_impl : public console_service, part {
public:
    using service_interface = console_service;
    using part::part;
    void print_line(const char* utf8, size_t byte_count) noexcept override
    try {
        const std::lock_guard lock(state_->mutex);
        state_->lines.emplace_back(utf8, byte_count);
        state_->changed.notify_all();
    } catch (const std::bad_alloc&) {
    }
};

class test_host::threads_impl : public detached_threads, part {
public:
    using service_interface = detached_threads;
    using part::part;
    void run_detached(runnable& work) override
    {
        {
            const std::lock_guard lock(state_->mutex);
            if (state_->refuse_detached)
                throw exception_win32(ERROR_NOT_ENOUGH_MEMORY);
            ++state_->detached;
        }
        const auto done = [shared = state_] {
            const std::lock_guard lock(shared->mutex);
            --shared->detached;
            shared->changed.notify_all();
        };
        try {
            std::thread([done, item = service_ptr_t<runnable>(&work)]() mutable {
                item->run();
                item.release();
                done();
            }).detach();
        } catch (...) {
            done();
            throw;
        }
    }
};

class test_host::abort_impl : public app_abort {
public:
    using service_interface = app_abort;
    explicit abort_impl(abort_callback& token)
        : token_(token)
    {
    }
    abort_callback& get_token() noexcept override { return token_; }

private:
    abort_callback& token_;
};

class test_host::filesystem_impl : public filesystem {
public:
    using service_interface = filesystem;
    bool is_our_path(const char* path) const noexcept override
    {
        return std::string_view(path).starts_with(path_scheme);
    }
    void get_canonical_path(const char* path, string_out& out) const override { set_text(out, path); }
    void get_display_path(const char* path, string_out& out) const override { set_text(out, path); }
    bool get_native_path(const char* path, string_out& out) const override
    {
        set_text(out, std::string_view(path).substr(std::string_view(path_scheme).size()));
        return true;
    }
    void open(service_ptr_t<file>&, const char*, open_mode, abort_callback&) override
    {
        throw exception_io_not_found();
    }
    void list_folder(const char*, folder_listing&, abort_callback&) override
    {
        throw exception_io_not_found();
    }
};

test_host::test_host()
    : state_(std::make_shared<state>())
    , main_thread_(GetCurrentThreadId())
{
    services_.emplace_back(console_service::class_guid, service_new<console_impl>(state_));
    services_.emplace_back(config_store::class_guid, store_);
    services_.emplace_back(detached_threads::class_guid, service_new<threads_impl>(state_));
    services_.emplace_back(app_abort::class_guid, service_new<abort_impl>(app_token));
    services_.emplace_back(filesystem::class_guid, service_new<filesystem_impl>());
    state_->wait(0, [] { return false; }); // makes its handles now: tests count them
    core_api::set_host(this);
}

test_host::~test_host()
{
    app_token.abort();
    if (!wait_until_detached_done()) {
        std::fprintf(stderr, "test_host: %u detached threads did not end\n",
                     static_cast<unsigned>(detached_count()));
        std::fflush(stderr);
        std::_Exit(98);
    }
    core_api::set_host(nullptr);
}

std::vector<std::string> test_host::console_lines() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->lines;
}

void test_host::clear_console()
{
    const std::lock_guard lock(state_->mutex);
    state_->lines.clear();
}

bool test_host::wait_for_line(const std::string& line, double limit_seconds)
{
    const auto& lines = state_->lines;
    return state_->wait(limit_seconds, [&] { return std::ranges::find(lines, line) != lines.end(); });
}

size_t test_host::detached_count() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->detached;
}

bool test_host::wait_until_detached_done(double limit_seconds, size_t left)
{
    return state_->wait(limit_seconds, [&] { return state_->detached <= left; });
}

void test_host::refuse_detached(bool refuse)
{
    const std::lock_guard lock(state_->mutex);
    state_->refuse_detached = refuse;
}

void test_host::hide_service(const guid_t& class_guid, bool hide)
{
    const std::lock_guard lock(state_->mutex);
    if (hide)
        state_->hidden.push_back(class_guid);
    else
        std::erase(state_->hidden, class_guid);
}

size_t test_host::get_service_count(const guid_t& class_guid) const noexcept
{
    const std::lock_guard lock(state_->mutex);
    if (std::ranges::find(state_->hidden, class_guid) != state_->hidden.end())
        return 0;
    return static_cast<size_t>(
        std::ranges::count(services_, class_guid, [](const auto& service) { return service.first; }));
}

void test_host::get_service(service_ptr_t<service_base>& out, const guid_t& class_guid, size_t index)
{
    for (const auto& [guid, service] : services_) {
        if (guid == class_guid && index-- == 0) {
            out = service;
            return;
        }
    }
    out.release();
}

bool test_host::is_main_thread() const noexcept
{
    return GetCurrentThreadId() == main_thread_;
}
