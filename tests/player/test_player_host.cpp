// Callbacks on the main thread, background tasks and threads as components use them, and the order in which
// everything ends.

#include "running_host.h"

#include "sdk/abort_callback_impl.h"
#include "sdk/console.h"
#include "sdk/initquit.h"

#include <doctest/doctest.h>

#include <array>
#include <thread>

using namespace player;

namespace {

// Adds one to a counter when it goes.
using last = std::shared_ptr<std::atomic<int>>;
last goodbye(std::atomic<int>& counter, const std::function<void()>& also = {})
{
    return last(&counter, [also](std::atomic<int>* it) {
        if (also)
            also();
        ++*it;
    });
}

class recording_actions : public initquit {
public:
    using service_interface = initquit;
    explicit recording_actions(std::function<void(const std::string&)> add)
        : add_(std::move(add))
    {
    }
    void on_init() override { add_("init"); }
    void on_quit() override
    {
        // Still within reach while the others quit.
        service_get_unique<config_store>()->set_bool("quit", true);
        add_(core_api::get_host().is_shutting_down() ? "quit" : "quit too early");
        throw std::runtime_error("quit failed");
    }

private:
    std::function<void(const std::string&)> add_;
};

} // namespace

TEST_CASE("main thread: callbacks run there, later, in the order they were posted")
{
    running_host test;
    callback_queue& queue = test.host.main_queue();
    std::vector<int> ran;
    const auto note = [&](int number) {
        core_api::ensure_main_thread();
        ran.push_back(number);
    };
    post_to_main_thread([&] {
        note(0);
        // As a dialog's message loop does. What is posted now comes after what is there already.
        post_to_main_thread([&] { note(3); });
        queue.run_pending();
        note(4);
    });
    post_to_main_thread([&] { note(1); });
    post_to_main_thread([&] {
        note(2);
        throw std::runtime_error("nobody's business");
    });
    CHECK(ran.empty());
    queue.run_pending();
    CHECK(ran == std::vector<int>{0, 1, 2, 3, 4});

    // Posting again and again does not keep the loop from its other work.
    std::function<void()> again = [&] {
        note(-1);
        post_to_main_thread(again);
    };
    again();
    ran.clear();
    queue.run_pending();
    CHECK(ran == std::vector<int>{-1});

    constexpr int posts = 500;
    std::array<int, 4> next{};
    int wrong = 0;
    std::vector<std::thread> threads;
    for (int& of_thread : next)
        threads.emplace_back([&] {
            for (int i = 0; i < posts; ++i)
                post_to_main_thread([&, i] { wrong += of_thread++ != i; });
        });
    CHECK(test.run_until([&] { return next == std::array{posts, posts, posts, posts}; }));
    CHECK(wrong == 0);
    for (std::thread& thread : threads)
        thread.join();
}

TEST_CASE("host: everything ends in its order, also when a step fails, and what has not begun is dropped")
{
    std::vector<std::string> log;
    std::mutex log_mutex;
    const auto add = [&](const std::string& text) {
        const std::lock_guard lock(log_mutex);
        log.push_back(text);
    };
    std::atomic<int> gone{0}, begun{0}, ran{0};
    const auto post = [&] { post_to_main_thread([it = goodbye(gone), &ran] { ++ran; }); };
    running_host test(
        [&](player_host& host) {
            host.add_service(initquit::class_guid, service_new<recording_actions>(add));
        },
        [&](std::string_view line) { add("console: " + std::string(line)); });
    abort_callback& token = service_get_unique<app_abort>()->get_token();
    post();
    post_to_main_thread([it = goodbye(gone, post), &ran] { ++ran; }); // whose end posts another
    constexpr int most = static_cast<int>(task_runner::most_threads), tasks = most + 5;
    for (int i = 0; i < tasks; ++i)
        run_in_background([&, it = goodbye(gone)] {
            ++begun;
            WaitForSingleObject(token.get_abort_event(), 20'000);
            Sleep(100);
            run_in_background([&, later = goodbye(gone)] { ++begun; });
        });
    for (int i = 0; i < 2000 && begun != most; ++i)
        Sleep(10);
    // What a relay thread does: lives until the token is set, and says something at the end.
    run_detached([&, it = goodbye(gone)] {
        WaitForSingleObject(token.get_abort_event(), 20'000);
        Sleep(200);
        post();
        add("thread ended");
        console::print("last words");
    });
    CHECK_FALSE(token.is_aborting());
    CHECK(gone == 0);
    CHECK(test.host.shut_down([&] {
        add(token.is_aborting() ? "instances" : "instances before the token");
        post();
        throw std::runtime_error("stuck");
    }));
    CHECK(log == std::vector<std::string>{"init", "instances", "console: destroying DSP instances: stuck",
                                          "quit", "console: quit action: quit failed", "thread ended",
                                          "console: last words"});
    CHECK(service_new<json_config_store>(test.folder.path("config.json"))->get_bool("quit", false));
    CHECK(begun == most);
    CHECK(ran == 0);
    CHECK(gone == 5 + tasks + most + 1); // posted, the tasks, theirs and the thread's work
}

TEST_CASE("threads: waiting for them is bounded, and covers those that start meanwhile")
{
    running_host test;
    std::atomic<int> gone{0};
    abort_callback_impl release;
    CHECK(test.host.let_threads_end(std::chrono::milliseconds(0)));
    run_detached([&, it = goodbye(gone)] {
        WaitForSingleObject(release.get_abort_event(), 20'000);
        run_detached([it = goodbye(gone)] { Sleep(100); });
    });
    CHECK_FALSE(test.host.let_threads_end(std::chrono::milliseconds(100)));
    release.abort();
    CHECK(test.host.let_threads_end(std::chrono::seconds(20)));
    CHECK(gone == 2); // the work is gone, not only done
}
