#include "vsthost/conversation.h"
#include "vsthost/exit_codes.h"
#include "vsthost/gui_loop.h"
#include "vsthost/modes/modes.h"
#include "vsthost/pipe_client.h"
#include "vsthost/process_shell.h"
#include "vsthost/run_to_the_end.h"

#include <thread>

void vsthost::run_process_mode(const options& wanted)
{
    // None of these is ever destroyed: the process ends while threads are still using them.
    // The player waits ten seconds for the pipe, but as long as it takes for the effect, so the pipe is
    // first.
    auto& pipe = *new pipe_client(wanted.pipe_name);
    start_watchdog(pipe.handle());
    watch_this_thread(thread_role::gui);
    auto& gui = *new gui_loop;
    auto& loaded = *new std::unique_ptr<effect>;

    std::thread([&pipe, &gui, &loaded, realtime = wanted.realtime] {
        run_to_the_end([&] {
            prepare_audio_thread(realtime);
            watch_this_thread(thread_role::audio);
            auto& talk = *new conversation(pipe, gui, loaded);
            talk.run();
        });
    }).detach();

    const effect_options how{wanted.float64, wanted.realtime};
    loaded = load_effect(wanted.vst_version, wanted.vst_path, how);
    loaded->wake_by(gui.wake_event());
    SetEvent(gui.wake_event()); // what it wanted while it was loaded
    gui.run([&loaded] { loaded->idle(); });
}
