// The modes "configure" and "configure-live".

#include "vsthost/editor/dpi.h"
#include "vsthost/editor/editor_session.h"
#include "vsthost/editor/live_audio.h"
#include "vsthost/editor/player_link.h"
#include "vsthost/editor/state_file.h"
#include "vsthost/modes/modes.h"
#include "vsthost/pipe_client.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"
#include "vsthost/run_to_the_end.h"

#include <ole2.h>

#include <optional>
#include <thread>

namespace {

using namespace vsthost;

// In ms, after the player's end. It gives the process a second; then it is killed.
constexpr DWORD time_to_save = 850;
constexpr unsigned time_to_write = 1600;
constexpr unsigned time_to_read = 2000; // while somebody else has the file
constexpr unsigned last_write = 2000;   // after the user closed the window

// What the effect runs with before there is audio, and for edits when there is never any.
constexpr uint32_t usual_rate = 44100;
constexpr bus_pair usual_layout{{2, 0x3}, {2, 0x3}};

// Everything that several threads use; never destroyed.
struct shared {
    processing_gate gate;
    std::optional<pipe_client> pipe;
    std::optional<live_audio> live;
    std::optional<player_link> link;
    std::optional<state_writer> writer;
    std::atomic<bool> has_writer{false};
};

void watch_player(shared& with)
{
    std::thread([&with] {
        run_to_the_end([&] {
            with.link->run();
            // The editor's thread saves and ends the process, if it can.
            Sleep(time_to_save);
            if (with.has_writer)
                with.writer->finish(time_to_write);
        });
    }).detach();
}

void play(shared& with, bool realtime)
{
    std::thread([&with, realtime] {
        run_to_the_end([&] {
            prepare_audio_thread(realtime);
            watch_this_thread(thread_role::audio);
            with.live->run();
        });
    }).detach();
}

// The handle is that of a program of either bitness: 32 bits count, with their sign.
HWND parent_window(uint64_t value)
{
    const auto low = static_cast<int32_t>(static_cast<uint32_t>(value));
    return reinterpret_cast<HWND>(static_cast<intptr_t>(low));
}

// True when the state is the same each time it is asked for.
bool load_state(effect& into, shared& with, const std::string& path)
{
    std::vector<uint8_t> bytes;
    if (!path.empty()) {
        // One that cannot be read ends the program: to go on with defaults would replace it by these.
        bytes = read_state_file(path, time_to_read);
        with.writer.emplace(path, bytes);
        with.has_writer = true;
    }
    into.set_state(bytes);
    try {
        into.prepare(usual_rate, usual_layout);
        into.attend();
    } catch (const fatal_error& error) {
        report(std::string(error.what()) + "; its editor is shown all the same");
    }
    if (!with.writer)
        return true;
    std::vector<uint8_t> state = into.state();
    const bool is_steady = state == into.state();
    with.writer->put(std::move(state));
    return is_steady;
}

} // namespace

void vsthost::run_configure_mode(const options& wanted)
{
    set_dpi_awareness(wanted.dpi_aware);
    auto& with = *new shared;
    if (!wanted.pipe_name.empty()) {
        with.pipe.emplace(wanted.pipe_name, at_pipe_end::tell);
        const bool is_live = wanted.mode == run_mode::configure_live;
        if (is_live)
            with.live.emplace(with.gate);
        with.link.emplace(*with.pipe, is_live ? &*with.live : nullptr);
        watch_player(with);
    }
    start_watchdog(nullptr); // the player's end is watched here
    watch_this_thread(thread_role::gui);
    OleInitialize(nullptr);
    const effect_options how{false, wanted.realtime};
    // Not destroyed by what is thrown: the audio thread may be in it.
    auto& shown = *new std::unique_ptr<effect>(load_effect(wanted.vst_version, wanted.vst_path, how));
    const bool is_steady = load_state(*shown, with, wanted.data_path);
    if (with.live)
        play(with, wanted.realtime);
    const std::string title = wanted.window_title.empty() ? shown->info().name : wanted.window_title;
    {
        editor_session session({*shown, with.gate, with.link ? &*with.link : nullptr,
                                with.live ? &*with.live : nullptr, with.writer ? &*with.writer : nullptr,
                                is_steady},
                               parent_window(wanted.parent_window), title);
        session.run();
        if (with.writer && !with.writer->finish(last_write))
            report("the last state could not be written to \"" + wanted.data_path + "\"");
    }
    if (with.live)
        with.live->stop();
    shown.reset();
    OleUninitialize();
}
