// Ends that come at any moment of a beginning: each race is run many times with random pauses.

#include "catalogue/background_scan.h"
#include "catalogue/image_builder.h"
#include "catalogue/settings.h"
#include "dsp/dsp_vst.h"
#include "player/running_host.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "support/again_and_again.h"
#include "support/dialog_host.h"
#include "support/fake_worker.h"
#include "support/presets.h"
#include "support/test_options.h"
#include "ui/CDialogConfigureVST.h"
#include "ui/listenerImpl.h"
#include "vis/capture_double.h"
#include "vis/vis_instance.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <random>
#include <thread>

namespace {

// Pauses of random length; says where they began.
class dice {
public:
    dice()
    {
        std::printf("seed %u\n", seed_);
        std::fflush(stdout);
    }
    int up_to(int most) { return std::uniform_int_distribution(0, most)(random_); }
    // Often none, else up to the limit: what is next is either begun at once or has got somewhere.
    void pause(int limit_ms)
    {
        if (up_to(3) != 0)
            Sleep(static_cast<DWORD>(up_to(limit_ms)));
    }
    const unsigned seed_ = std::random_device{}();

private:
    std::mt19937 random_{seed_};
};

constexpr int start_ms = 120; // about what a start takes

int rounds()
{
    return test_options::long_run() ? 1000 : 12;
}

const audio_chunk_impl_t small_chunk = chunk_of(1, 32);

// A player with one configure run, whose counts are taken after a first use of everything.
struct race {
    race()
    {
        fake_worker::use_for_launches();
        cfg_feed_live.set(true);
        make_run();
    }
    void make_run()
    {
        run = std::make_unique<CDialogConfigureVST>();
        run->onStateChanged = [this](const vstConfig_t&) { events += "state "; };
        run->onFinished = [this] { events += "finished "; };
    }
    // Plays it often and looks at what is left.
    template <class Once>
    void often(Once&& once)
    {
        again_and_again("race", rounds(), &player.host, [&] {
            once();
            REQUIRE(!run->isRunning());
        });
    }
    // A worker of a script has come to its statement `signal-event {event:NAME}`.
    void comes_to(fake_worker& worker, const char* name)
    {
        const bool is_there = worker.wait_for(name, 20);
        const auto lines = player.host.console_lines();
        REQUIRE_MESSAGE(is_there, (lines.empty() ? "" : lines.back()), ", worker ",
                        worker.process_ids().size(), ": ", worker.record());
    }
    dice chance;
    dialog_host player;
    std::string events;
    fake_worker fake{"connect\non 1 * no-reply\non 3 * no-reply\nserve"};
    std::unique_ptr<CDialogConfigureVST> run;
};

} // namespace

TEST_CASE("race: stopped while starting")
{
    race test;
    CAPTURE(test.chance.seed_);
    test.often([&] {
        test.run->Start(test.fake.effect(), nullptr);
        if (test.chance.up_to(1))
            test.player.run_for(0.001 * test.chance.up_to(start_ms));
        else
            test.chance.pause(start_ms);
        test.run->stop();
    });
    CHECK(test.events.empty());
}

TEST_CASE("race: a DSP aborted while it starts or plays goes on with a whole chunk")
{
    race test;
    CAPTURE(test.chance.seed_);
    const fake_worker answering("connect\nserve");
    const dsp_preset_impl preset = preset_of(answering.effect());
    test.often([&] {
        abort_callback_impl token;
        const auto dsp = service_new<dsp_vst>(preset, 0u);
        std::thread cutter([&, pause = test.chance.up_to(start_ms + 40)] {
            Sleep(static_cast<DWORD>(pause));
            token.abort();
        });
        const auto play = [&](uint32_t rate) {
            dsp_chunk_list_impl list;
            fill_chunk(*list.add_item(), {.rate = rate, .frames = 32, .step = 0});
            dsp->run_abortable(list, nullptr, 0, token);
            REQUIRE(list.get_count() == 1);
            CHECK(list.get_item(0)->get_data()[63] == 1.0);
        };
        // The event alone, between flag and event, is a class of its own.
        bool aborted = false;
        for (uint32_t rate = 44100; !aborted; rate = rate == 44100 ? 48000 : 44100) {
            try {
                play(rate);
            } catch (const exception_aborted&) {
                aborted = true;
            } catch (const Nv::user_abort&) {
                aborted = true;
            } catch (const std::runtime_error& failure) { // now and then Wine's own launch of a process fails
                CHECK(failure.what() == std::string("could not start the worker process"));
            }
        }
        cutter.join();
        token.reset();
        if (test.chance.up_to(1))
            play(96000);
    });
}

TEST_CASE("race: destroyed while the player feeds it")
{
    race test;
    CAPTURE(test.chance.seed_);
    std::atomic<bool> over{false};
    std::atomic<size_t> taken{0};
    std::thread feeder([&] {
        while (!over) {
            taken += feedAudioListener(test.fake.script_path(), small_chunk, 1);
            Sleep(1); // far more often than a player, and still not a whole processor
        }
    });
    test.often([&] {
        test.run->Start(test.fake.effect(), nullptr);
        if (test.chance.up_to(2) != 0) // else it goes while it is still starting
        {
            const bool is_fed = test.player.run_until([&, before = taken.load()] { return taken != before; });
            const auto lines = test.player.host.console_lines();
            CHECK_MESSAGE(is_fed, (lines.empty() ? "" : lines.back()));
        }
        test.chance.pause(40);
        test.make_run();
    });
    over = true;
    feeder.join();
    CHECK(taken > 0);
    CHECK(test.events.empty());
}

TEST_CASE("race: two runs back to back; the second is the one that runs")
{
    race test;
    CAPTURE(test.chance.seed_);
    fake_worker second("connect\nsignal-event {event:up}\nread 1");
    test.often([&] {
        test.run->Start(test.fake.effect(), nullptr);
        test.chance.pause(start_ms);
        test.run->Start(second.effect(), nullptr);
        test.comes_to(second, "up");
        CHECK(test.run->isRunning());
        test.run->stop();
        second.reset("up");
    });
    CHECK(test.events.empty());
}

TEST_CASE("race: callbacks that were posted before a stop say nothing after it")
{
    race test;
    CAPTURE(test.chance.seed_);
    fake_worker closing("connect\nwrite-file $--data x\nsignal-event {event:closed}\nexit 0");
    test.often([&] {
        vstConfig_t effect = closing.effect();
        effect.state = {'y'};
        test.run->Start(effect, nullptr);
        test.comes_to(closing, "closed");
        test.chance.pause(60); // nothing is dispatched meanwhile
        test.run->stop();
        CHECK(test.events == "state ");
        test.player.run_for(0.001 * test.chance.up_to(30));
        CHECK(test.events == "state ");
        test.events.clear();
        closing.reset("closed");
    });
}

TEST_CASE("race: visualisations whose worker goes while they are fed")
{
    dice chance;
    CAPTURE(chance.seed_);
    fake_worker::use_for_launches();
    vis_fixture test;
    const fake_worker fake("connect\non 1 * no-reply\non 3 * no-reply\nserve 2\nexit 0");
    again_and_again("race", rounds(), &test.player.host, [&] {
        new vis_instance(fake.effect());
        chance.pause(start_ms);
        CHECK(test.player.run_until([&] {
            test.deliver(small_chunk);
            return test.capture->callbacks.empty();
        }));
        CHECK(test.player.host.wait_until_detached_done());
    });
}

TEST_CASE("race: a listener leaves while chunks are handed over")
{
    dice chance;
    CAPTURE(chance.seed_);
    std::atomic<bool> over{false};
    std::atomic<size_t> taken{0};
    std::vector<std::thread> feeders;
    for (uint64_t serial = 0; serial < 2; ++serial) {
        feeders.emplace_back([&, serial] {
            while (!over)
                taken += feedAudioListener("effect", small_chunk, serial);
        });
    }
    for (int i = 0; i < 50 * rounds(); ++i) {
        const listenerImpl one("effect");
        const auto other = std::make_unique<listenerImpl>("effect");
        if (chance.up_to(20) == 0)
            Sleep(1);
    }
    over = true;
    for (std::thread& each : feeders)
        each.join();
    CHECK(taken > 0);
    CHECK(!feedAudioListener("effect", small_chunk, 1));
}

TEST_CASE("race: the player shuts down while it scans")
{
    dice chance;
    CAPTURE(chance.seed_);
    const temp_folder modules;
    for (int i = 0; i < 20; ++i) {
        modules.make(std::to_string(i));
        modules.write(std::to_string(i) + "\\effect.dll", image_builder().build());
    }
    int delivered = 0;
    again_and_again("race", rounds(), nullptr, [&] {
        running_host running;
        player::player_host& host = running.host;
        background_scan scan;
        bool down = false;
        scan.begin({{modules.path(), 0}}, [&](const std::vector<vstConfig_t>& found) {
            CHECK(!down);
            CHECK(found.size() == 20);
            ++delivered;
        });
        chance.pause(30);
        if (chance.up_to(1))
            host.main_queue().run_pending();
        down = true;
        CHECK(host.shut_down([&] { // the dialogs go, and their scans with them
            if (chance.up_to(1))
                scan.cancel();
        }));
    });
    std::printf("%d scans were through\n", delivered);
}
