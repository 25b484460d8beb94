// No memory, thread, handle or room on the disk to be had, at every place where one is asked for: each is
// refused once, and from there on. What fails says so, leaves nothing behind and what was saved as it was,
// and works again when there is enough.

#include "catalogue/settings.h"
#include "dsp/dsp_vst.h"
#include "exhaustion/scarcity.h"
#include "player/services/json_config_store.h"
#include "player/system/whole_file.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "support/chunks.h"
#include "support/dialog_host.h"
#include "support/presets.h"
#include "support/system_counts.h"
#include "support/temp_folder.h"
#include "support/test_options.h"
#include "ui/CDialogConfigureVST.h"
#include "ui/presetFiles.h"
#include "vsthost/editor/state_file.h"
#include "worker/protocol.h"
#include "worker/startWorker.h"

#include <doctest/doctest.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

// A tail is announced and does not come.
void answer_politely(thread_worker::ends& player, uint32_t tail_bytes)
{
    Nv::commandHeader header;
    while (player.read(&header, sizeof header)) {
        bytes payload(header.byteCount + 4);
        if (!player.read(payload.data(), header.byteCount))
            return;
        const bool goes_on = header.code == Nv::cmdProcess ? player.write(payload.data(), payload.size())
                             : header.code == Nv::cmdSetFormat
                                 ? player.write(payload.data(), header.byteCount)
                             : header.code == Nv::cmdDrainTail
                                 ? player.write(&tail_bytes, sizeof tail_bytes) && tail_bytes == 0
                                 : true;
        if (!goes_on)
            return;
    }
}

vstConfig_t any_effect()
{
    vstConfig_t effect{"C:\\e.vst3", "E", "x64", 3};
    effect.state.assign(3000, 7);
    return effect;
}

// What a scenario does, and what is saved afterwards: as long as no failure is told, the new.
struct scenario {
    std::string name;
    std::function<void()> play;                                // throws when it fails
    std::function<std::string()> saved = [] { return "new"; }; // "old", or something worse
    std::function<void()> prepare = [] {};                     // before anything is refused
    size_t first = scarcity::memory;
};

class exhausted {
public:
    explicit exhausted(uint32_t tail_bytes = 0)
        : workers_([tail_bytes](thread_worker::ends& other) { answer_politely(other, tail_bytes); })
    {
        Nv::setComponentPath(thread_worker::folder() + "component.dll");
        cfg_process_tail.set(true);
    }

    // Refuses each call of each kind in turn; `stride`: every so many allocations in the short form.
    void play(const scenario& each, int stride)
    {
        CAPTURE(each.name);
        for (int i = 0; i < 2; ++i) {
            each.prepare();
            REQUIRE(outcome(each) == "");
        }
        const system_counts before = system_counts::now();
        int refusals = 0, failures = 0;
        for (size_t which = each.first; which < scarcity::count; ++which)
            for (const bool for_good : {false, true}) {
                const std::string function = scarcity::gifts[which].function;
                CAPTURE(function);
                CAPTURE(for_good);
                const int step = which == scarcity::memory && !test_options::long_run() ? stride : 1;
                for (int nth = 1;; nth += step) {
                    CAPTURE(nth);
                    each.prepare();
                    scarcity::now.calls = scarcity::now.refused = 0;
                    scarcity::now.nth = nth;
                    scarcity::now.for_good = for_good;
                    scarcity::now.which = which;
                    const std::string failure = outcome(each);
                    scarcity::now.which = scarcity::count;
                    if (scarcity::now.refused == 0)
                        break;
                    ++refusals;
                    failures += !failure.empty();
                    CHECK(failure != "no text");
                    const std::string saved = each.saved();
                    CAPTURE(saved);
                    CHECK((saved == "new" || (saved == "old" && !failure.empty())));
                    REQUIRE(player.host.wait_until_detached_done());
                }
                each.prepare();
                REQUIRE(outcome(each) == ""); // there is enough again
                REQUIRE(each.saved() == "new");
            }
        before.check_nothing_more(4);
        MESSAGE(each.name, ": ", refusals, " refusals, ", failures, " failures told");
        CHECK(refusals > 0);
        player.host.clear_console();
    }

    dialog_host player;

private:
    std::string outcome(const scenario& each)
    {
        try {
            each.play();
            return "";
        } catch (const std::exception& failure) {
            scarcity::now.which = scarcity::count;
            const std::string text = failure.what();
            return text.empty() ? "no text" : text;
        }
    }

    const scarcity::hooks hooks_;
    thread_worker workers_;
};

void play_chunks()
{
    const auto dsp = service_new<dsp_vst>(preset_of(any_effect()), 0u);
    abort_callback_impl token;
    for (const uint32_t rate : {44100u, 48000u}) {
        dsp_chunk_list_impl list;
        fill_chunk(*list.add_item(), {.rate = rate, .frames = 4000});
        dsp->run_abortable(list, nullptr, 0, token);
    }
    dsp_chunk_list_impl none;
    dsp->run_abortable(none, nullptr, dsp_flag_end_of_playback, token);
}

} // namespace

TEST_CASE("exhaustion: an effect that plays")
{
    exhausted test;
    test.play({"chunks", &play_chunks}, 11);
}

TEST_CASE("exhaustion: a tail that is only announced takes no memory")
{
    constexpr size_t piece = 1 << 24; // in which it is read
    const exhausted test(sizeof(void*) == 8 ? 1u << 30 : 1u << 28);
    scarcity::now.largest = 0;
    CHECK_THROWS_WITH(play_chunks(), "invalid input");
    const size_t largest = scarcity::now.largest;
    CHECK(largest >= piece);
    CHECK(largest < piece + 4096);
}

TEST_CASE("exhaustion: an effect's editor")
{
    exhausted test;
    const auto edit = [&] {
        CDialogConfigureVST run;
        bool reported = false;
        run.onStateChanged = [&](const vstConfig_t&) { reported = true; };
        run.Start(any_effect(), nullptr);
        test.player.run_for(0.03);
        run.stop();
    };
    test.play({"editor", edit}, 47);
}

TEST_CASE("exhaustion: what is saved stays whole")
{
    exhausted test;
    const temp_folder folder;
    const bytes old_bytes(30000, 1), new_bytes(50000, 2);
    const std::string path = folder.path("saved");
    const auto alone = [&](const std::string& what) {
        const std::filesystem::directory_iterator files(win::to_utf16(folder.path()));
        return std::distance(files, {}) == 1 ? what : what + " and a file beside it";
    };
    const auto held = [&] {
        const auto found = player::read_whole_file(path, 1 << 20);
        return alone(found == old_bytes ? "old" : found == new_bytes ? "new" : "neither");
    };
    const auto old_file = [&] { folder.write("saved", old_bytes); };
    const auto old_preset = [&] {
        old_file();
        test.player.shell->shown.clear();
        test.player.shell->answer = path;
    };
    const auto save_preset = [&] {
        savePreset(nullptr, new_bytes);
        const auto& shown = test.player.shell->shown;
        if (!shown.empty() && shown.back().starts_with("popup"))
            throw std::runtime_error(shown.back());
    };
    test.play({"preset", save_preset, held, old_preset}, 3);

    const auto save_state = [&] {
        if (const unsigned long code = vsthost::replace_state_file(path, new_bytes))
            throw std::runtime_error("Windows error " + std::to_string(code));
    };
    test.play({"state file", save_state, held, old_file}, 1);

    const std::string config = R"({"folders": "old"})";
    const auto text_in = [&] {
        string_out_impl text;
        service_new<player::json_config_store>(path)->get_string("folders", "none", text);
        return text.text;
    };
    const auto save_settings = [&] {
        const auto store = service_new<player::json_config_store>(path);
        try {
            store->set_string("folders", "new");
        } catch (...) {
            scarcity::now.which = scarcity::count;
            string_out_impl text;
            store->get_string("folders", "none", text);
            CHECK(text.text == "old"); // what is in use is what is on the disk
            throw;
        }
    };
    test.play({"settings", save_settings, [&] { return alone(text_in()); },
               [&] {
                   folder.write("saved", {config.begin(), config.end()});
               },
               scarcity::thread}, // the library that writes it ends a program without memory
              1);
}
