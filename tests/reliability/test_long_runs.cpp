// What is played for long, through the shipped workers: nothing grows.

#include "dsp/dsp_vst.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "support/again_and_again.h"
#include "support/fake_worker.h"
#include "support/presets.h"
#include "support/real_editor.h"
#include "support/test_options.h"
#include "ui/CDialogConfigureVST.h"
#include "vis/capture_double.h"
#include "vis/vis_instance.h"

#include <doctest/doctest.h>

namespace {

// Two workers, the second fed with what the first one made; of both bitnesses and formats.
class two_in_a_row {
public:
    two_in_a_row() { use_shipped_workers(); }

    // As a player does: the ones there are go, others come.
    void renew()
    {
        for (size_t k = 0; k < 2; ++k)
            dsps_[k] = service_new<dsp_vst>(preset_of(effects_[k]), 0u);
    }
    void release()
    {
        for (auto& dsp : dsps_)
            dsp.release();
    }
    // One chunk; what fails.
    std::string play()
    {
        dsp_chunk_list_impl list;
        fill_chunk(*list.add_item(), {rate_, channels_, channels_ == 1 ? 4u : 3u, 64, 0.5, 0});
        for (auto& dsp : dsps_) {
            try {
                dsp->run_abortable(list, nullptr, 0, token_);
            } catch (const std::exception& failure) {
                return failure.what();
            }
        }
        const audio_chunk* const heard = list.get_item(0);
        const bool whole = list.get_count() == 1 && heard->get_sample_count() == 64 &&
                           heard->get_channel_count() == channels_ && heard->get_sample_rate() == rate_ &&
                           heard->get_data()[0] > 0;
        return whole ? "" : "another chunk";
    }
    // What comes between chunks now and then. False when an effect does not take its own preset.
    bool change(size_t number)
    {
        if (number % 101 == 0) {
            for (auto& dsp : dsps_)
                dsp->flush();
        } else if (number % 499 == 0) {
            rate_ = rate_ == 44100 ? 48000 : 44100;
        } else if (number % 1009 == 0) {
            channels_ = 3 - channels_;
        } else if (number % 211 == 0) {
            return dsps_[number % 2]->apply_preset(preset_of(effects_[number % 2]));
        }
        return true;
    }

private:
    const vstConfig_t effects_[2] = {{shipped_effect("qvxGain.vst3", "x64"), "gain", "x64", 3},
                                     {shipped_effect("qvxGain.dll", "x86"), "gain", "x86", 2}};
    service_ptr_t<dsp_vst> dsps_[2];
    abort_callback_impl token_;
    uint32_t rate_ = 44100, channels_ = 2;
};

} // namespace

TEST_CASE("chunks through two instances, with seeks, formats, presets and killed workers: nothing grows")
{
    // Of the chain; each is one for either instance.
    const size_t chunks = test_options::long_run() ? 500'000 : 500;
    const size_t killed_every = test_options::long_run() ? 5'000 : 125;
    dialog_host player;
    two_in_a_row chain;
    system_counts before = {};
    size_t most_bytes = 0, kills = 0, failures = 0;
    const auto began = std::chrono::steady_clock::now();
    for (size_t i = 0; i < chunks; ++i) {
        if (i % killed_every != 0) {
            failures += !chain.change(i);
        } else {
            if (i != 0) {
                kills += kill_children(42);
                failures += chain.play() != "VST worker terminated: 0x2A";
            }
            chain.renew();
        }
        if (const std::string failure = chain.play(); !failure.empty()) {
            ++failures;
            CHECK(failure == "");
            break;
        }
        if (i == 2 * killed_every + 10)
            before = system_counts::now();
        if (before.private_bytes != 0 && i % killed_every == 100)
            most_bytes = std::max(most_bytes, system_counts::now().private_bytes);
    }
    CHECK(failures == 0);
    CHECK(kills >= 2 * (chunks / killed_every - 1)); // one that is still going may be met again
    before.check_nothing_more(4);
    CHECK(most_bytes < before.private_bytes + (2 << 20));
    std::printf("2 x %u chunks, %u workers killed, %.0f s, %d KiB more at most\n",
                static_cast<unsigned>(chunks), static_cast<unsigned>(kills),
                std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count(),
                static_cast<int>(most_bytes / 1024) - static_cast<int>(before.private_bytes / 1024));
    chain.release();
    CHECK(player.host.wait_until_detached_done());
    before.children = 0;
    before.check_nothing_more(4);
}

TEST_CASE("editors and visualisations, again and again: nothing grows")
{
    fake_worker::use_for_launches();
    vis_fixture test;
    CDialogConfigureVST run;
    bool by_user = false;
    const auto edit = [&] {
        by_user = !by_user;
        fake_worker fake(by_user ? "connect\nwrite-file $--data x\nsignal-event {event:up}\n"
                                   "wait-event {event:close}\nexit 0"
                                 : "connect\nsignal-event {event:up}\nread 1");
        // Not before the state came: a worker that is gone by the time of the connection was never there.
        run.onStateChanged = [&](const vstConfig_t&) {
            if (by_user)
                fake.signal("close");
        };
        run.Start(fake.effect(), nullptr);
        REQUIRE(fake.wait_for("up", 20));
        if (by_user)
            CHECK(test.player.run_until([&] { return !run.isRunning(); }));
        run.stop();
    };
    const fake_worker fed("connect\non 1 * no-reply\non 3 * no-reply\nserve 2\nexit 0");
    const auto show = [&] {
        new vis_instance(fed.effect());
        test.deliver(chunk_of(1, 441));
        CHECK(test.gone(20));
    };
    const bool is_long = test_options::long_run();
    again_and_again("editors", is_long ? 1000 : 10, &test.player.host, edit);
    again_and_again("visualisations", is_long ? 500 : 6, &test.player.host, show);
}
