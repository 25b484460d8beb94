#include "player/host/player_host.h"

#include "player/services/json_config_store.h"
#include "player/system/player_error.h"
#include "run_program.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/console.h"
#include "sdk/initquit.h"
#include "sdk/threads.h"

#include <doctest/doctest.h>

#include <thread>

using namespace player;

namespace {

service_ptr_t<config_store> any_store(const temp_folder& folder)
{
    return service_new<json_config_store>(folder.path("config.json"));
}

// Writes down what happens to it.
class recording_actions : public initquit {
public:
    using service_interface = initquit;
    explicit recording_actions(std::vector<std::string>& log)
        : log_(log)
    {
    }
    void on_init() override { log_.push_back("init"); }
    void on_quit() override
    {
        // Still within reach while the others quit.
        service_get_unique<config_store>()->set_bool("quit", true);
        log_.push_back(core_api::get_host().is_shutting_down() ? "quit" : "quit too early");
        throw std::runtime_error("quit failed");
    }

private:
    std::vector<std::string>& log_;
};

// Counts the work items that exist.
class work : public runnable {
public:
    using service_interface = runnable;
    work(std::function<void()> body, std::atomic<int>& alive)
        : body_(std::move(body))
        , alive_(alive)
    {
        ++alive_;
    }
    ~work() { --alive_; }
    void run() noexcept override { body_(); }

private:
    std::function<void()> body_;
    std::atomic<int>& alive_;
};

} // namespace

TEST_CASE("host: everything ends in its order, also when a step fails")
{
    const temp_folder folder;
    std::vector<std::string> log;
    std::mutex log_mutex;
    const auto add = [&](const std::string& text) {
        const std::lock_guard lock(log_mutex);
        log.push_back(text);
    };
    player_host host([&](std::string_view line) { add("console: " + std::string(line)); }, any_store(folder));
    host.add_service(initquit::class_guid, service_new<recording_actions>(log));
    host.start();
    abort_callback& token = service_get_unique<app_abort>()->get_token();
    run_detached([&] {
        // What a relay thread does: lives until the token is set, and says something at the end.
        WaitForSingleObject(token.get_abort_event(), 20'000);
        Sleep(200);
        add("thread ended");
        console::print("last words");
    });
    CHECK_FALSE(token.is_aborting());
    CHECK(host.shut_down([&] {
        add(token.is_aborting() ? "instances" : "instances before the token");
        throw std::runtime_error("stuck");
    }));
    CHECK(log == std::vector<std::string>{"init", "instances", "console: destroying DSP instances: stuck",
                                          "quit", "console: quit action: quit failed", "thread ended",
                                          "console: last words"});
    CHECK(any_store(folder)->get_bool("quit", false));
}

TEST_CASE("threads: waiting for them is bounded, and covers those that start meanwhile")
{
    const auto pool = service_new<thread_pool>();
    std::atomic<int> alive{0};
    abort_callback_impl release;
    CHECK(pool->wait_until_idle(std::chrono::milliseconds(0)));
    pool->run_detached(*service_new<work>(
        [&] {
            WaitForSingleObject(release.get_abort_event(), 20'000);
            pool->run_detached(*service_new<work>([] { Sleep(100); }, alive));
        },
        alive));
    const auto began = std::chrono::steady_clock::now();
    CHECK_FALSE(pool->wait_until_idle(std::chrono::milliseconds(100)));
    CHECK(std::chrono::steady_clock::now() - began < std::chrono::seconds(10));
    release.abort();
    CHECK(pool->wait_until_idle(std::chrono::seconds(20)));
    CHECK(alive == 0); // work items are gone, not only done
}

TEST_CASE("file system: paths, listing, reading and writing, and which failures are which")
{
    const temp_folder folder;
    player_host host({}, any_store(folder));
    host.start();
    abort_callback_impl abort;
    const std::string root = folder.path();
    CHECK(native_path("file://" + root + "\\") == root);
    std::string slashes = root;
    std::replace(slashes.begin(), slashes.end(), '\\', '/');
    CHECK(native_path("file:///" + slashes) == root);
    CHECK(native_path("C:/") == "C:\\");
    CHECK(native_path("http://x/y") == "http://x/y");
    CHECK_FALSE(filesystem_for_path("http://x/y"));

    const auto disk = filesystem_for_path(root.c_str());
    REQUIRE(disk);
    const std::string deep = "\xC3\xA4" + std::string(120, 'd');
    folder.make(deep);
    folder.make(deep + "\\" + deep);
    const std::string file_path = folder.path(deep + "\\" + deep + "\\f.bin"); // beyond 260 characters
    service_ptr_t<file> opened;
    disk->open(opened, file_path.c_str(), filesystem::open_mode::write, abort);
    opened->write("12345", 5, abort);
    opened.release();
    disk->open(opened, file_path.c_str(), filesystem::open_mode::read, abort);
    CHECK(opened->get_size(abort) == 5);
    char buffer[10] = {};
    CHECK(opened->read(buffer, 10, abort) == 5);
    CHECK(std::string(buffer) == "12345");

    struct : folder_listing {
        void on_entry(bool is_folder, const char* name, const char* full_path) override
        {
            rows.push_back((is_folder ? "folder " : "file ") + std::string(name) + " " + full_path);
        }
        std::vector<std::string> rows;
    } listing;
    disk->list_folder(folder.path(deep + "\\" + deep + "\\").c_str(), listing, abort);
    CHECK(listing.rows == std::vector<std::string>{"file f.bin " + file_path});

    const auto open_path = [&](const std::string& path) {
        disk->open(opened, path.c_str(), filesystem::open_mode::read, abort);
    };
    CHECK_THROWS_AS(open_path(folder.path("none")), exception_io_not_found);
    CHECK_THROWS_AS(open_path(folder.path("none\\none")), exception_io_not_found);
    CHECK_THROWS_AS(open_path(root), exception_io_denied); // a folder
    CHECK_THROWS_AS(disk->list_folder(folder.path("none").c_str(), listing, abort), exception_io_not_found);
    CHECK_THROWS_AS(disk->list_folder(file_path.c_str(), listing, abort), exception_io_not_found);
    abort.abort();
    CHECK_THROWS_AS(open_path(file_path), exception_aborted);
    CHECK_THROWS_AS(disk->list_folder(root.c_str(), listing, abort), exception_aborted);
}
