// Callbacks on the main thread and background tasks, as components use them.

#include "player/host/player_host.h"
#include "player/services/json_config_store.h"
#include "player/services/queue_window.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/initquit.h"
#include "support/temp_folder.h"

#include <doctest/doctest.h>

#include <numeric>
#include <thread>

using namespace player;

namespace {

constexpr std::chrono::seconds patience{20};

struct running_host {
    running_host() { host.start(); }
    bool run_until(const std::function<bool()>& done) { return host.main_queue().run_until(done, patience); }

    temp_folder folder;
    player_host host{{}, service_new<json_config_store>(folder.path("config.json"))};
};

// Adds one to a counter when it goes.
struct goodbye {
    explicit goodbye(std::atomic<int>& counter)
        : gone(&counter)
    {
    }
    goodbye(const goodbye&) = delete;
    goodbye& operator=(const goodbye&) = delete;
    ~goodbye() { ++*gone; }
    std::atomic<int>* gone;
};

bool wait_until(const std::function<bool()>& done)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!done() && std::chrono::steady_clock::now() < end)
        Sleep(1);
    return done();
}

class posting_quit : public initquit {
public:
    using service_interface = initquit;
    explicit posting_quit(std::function<void()> action)
        : action_(std::move(action))
    {
    }
    void on_init() override {}
    void on_quit() override { action_(); }

private:
    std::function<void()> action_;
};

} // namespace

TEST_CASE("main thread: callbacks run there, later, in the order they were posted")
{
    running_host test;
    std::vector<int> ran;
    const auto note = [&](int number) {
        core_api::ensure_main_thread();
        ran.push_back(number);
    };
    post_to_main_thread([&] {
        note(0);
        // As a dialog's message loop does. What is posted now comes after what is there already.
        post_to_main_thread([&] { note(3); });
        test.host.main_queue().run_pending();
        note(4);
    });
    post_to_main_thread([&] { note(1); });
    post_to_main_thread([&] {
        note(2);
        throw std::runtime_error("nobody's business");
    });
    CHECK(ran.empty());
    test.host.main_queue().run_pending();
    CHECK(ran == std::vector<int>{0, 1, 2, 3, 4});

    // Posting again and again does not keep the loop from its other work.
    std::function<void()> again = [&] {
        ran.push_back(-1);
        post_to_main_thread(again);
    };
    again();
    ran.clear();
    test.host.main_queue().run_pending();
    CHECK(ran == std::vector<int>{-1});

    ran.clear();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i)
                post_to_main_thread([&, number = 1000 * t + i] { note(number); });
        });
    CHECK(test.run_until([&] { return std::erase(ran, -1), ran.size() == 2000; }));
    for (std::thread& thread : threads)
        thread.join();
    for (int t = 0; t < 4; ++t) {
        std::vector<int> of_thread;
        std::copy_if(ran.begin(), ran.end(), std::back_inserter(of_thread),
                     [&](int number) { return number / 1000 == t; });
        std::vector<int> expected(500);
        std::iota(expected.begin(), expected.end(), 1000 * t);
        CHECK(of_thread == expected);
    }
}

TEST_CASE("main thread: the shut-down drops what waits and what comes after")
{
    std::atomic<int> gone{0}, ran{0};
    {
        running_host test;
        post_to_main_thread([last = std::make_shared<goodbye>(gone), &ran] { ++ran; });
        // One whose end posts another.
        post_to_main_thread([last = std::shared_ptr<goodbye>(new goodbye(gone),
                                                             [&](goodbye* it) {
                                                                 post_to_main_thread([&ran] { ++ran; });
                                                                 delete it;
                                                             }),
                             &ran] { ++ran; });
        CHECK(gone == 0);
        CHECK(test.host.shut_down());
        CHECK(gone == 2);
    }
    {
        temp_folder folder;
        player_host host({}, service_new<json_config_store>(folder.path("config.json")));
        host.add_service(initquit::class_guid, service_new<posting_quit>([&] {
                             post_to_main_thread([last = std::make_shared<goodbye>(gone), &ran] { ++ran; });
                         }));
        host.start();
        abort_callback& token = host.app_abort_token();
        // Still at work when the queue is closed.
        run_detached([&] {
            WaitForSingleObject(token.get_abort_event(), 20'000);
            Sleep(200);
            post_to_main_thread([last = std::make_shared<goodbye>(gone), &ran] { ++ran; });
        });
        CHECK(host.shut_down());
    }
    CHECK(gone == 4);
    CHECK(ran == 0);
}

TEST_CASE("background tasks: the shut-down waits for those that run and drops the others")
{
    std::atomic<int> gone{0}, begun{0}, ended{0};
    running_host test;
    abort_callback& token = test.host.app_abort_token();
    constexpr int count = static_cast<int>(task_runner::most_threads) + 5;
    for (int i = 0; i < count; ++i)
        run_in_background([&, last = std::make_shared<goodbye>(gone)] {
            ++begun;
            WaitForSingleObject(token.get_abort_event(), 20'000);
            Sleep(100);
            run_in_background([&, later = std::make_shared<goodbye>(gone)] { ++begun; });
            ++ended;
        });
    REQUIRE(wait_until([&] { return begun == static_cast<int>(task_runner::most_threads); }));
    // The tasks that wait have to be dropped while those that run still do.
    CHECK(test.host.shut_down());
    CHECK(begun == static_cast<int>(task_runner::most_threads));
    CHECK(ended == begun);
    CHECK(gone == count + begun);
}
