#include "player/window/gui.h"

#include "player/chain/chain.h"
#include "player/services/queue_window.h"
#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/window/main_window.h"
#include "player/window/session.h"

namespace player {

namespace {

constexpr std::chrono::milliseconds engine_patience{3000};

// Until WM_QUIT or `stop`.
void run_messages(main_window& window, abort_callback& stop)
{
    const HANDLE stopped = stop.get_abort_event();
    for (;;) {
        if (MsgWaitForMultipleObjectsEx(1, &stopped, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE) ==
            WAIT_OBJECT_0)
            return;
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT || window.is_closed())
                return;
            if (window.take_key(message))
                continue;
            TranslateMessage(&message);
            DispatchMessageW(&message);
            if (window.is_closed())
                return;
        }
    }
}

std::string stored_text(player_host& host, const char* key)
{
    string_out_impl text;
    host.store().get_string(key, "", text);
    return text.text;
}

// Empty: none.
std::string first_file(player_host& host, const gui_options& options)
{
    if (!options.file.empty())
        return options.file;
    // A file that is gone since the last time is no reason for a message.
    const std::string last = stored_text(host, file_store_key);
    return !last.empty() && path_exists(last) ? last : std::string();
}

} // namespace

gui_end run_gui(player_host& host, console_lines& lines, const gui_options& options, abort_callback& stop)
{
    const std::string first = first_file(host, options);
    if (!first.empty() && is_same_file(options.capture, first))
        throw player_error(options.capture + ": is also read by this run; choose another output");
    if (!chain_from_text(stored_text(host, chain_store_key), host.chain()))
        console::print("The stored DSP chain is damaged; the chain is empty.");
    const queue_window callbacks(host.main_queue());
    auto window = std::make_unique<main_window>(host, lines);
    auto engine = std::make_unique<playback_engine>(
        host.chain(), host.capture(),
        [](const dsp_preset& preset) { return make_processor(preset, dsp_flag_realtime); },
        [target = window->window()] { PostMessageW(target, main_window::engine_changed, 0, 0); },
        playback_engine::options{options.capture, options.no_device});
    window->start(*engine);
    window->show();
    if (!first.empty())
        window->open_file(first);
    run_messages(*window, stop);

    ShowWindow(window->window(), SW_HIDE); // it is over for the user
    bool ended = true;
    const bool clean = host.shut_down(
        [&] {
            window->leave_component();
            ended = engine->shut_down(engine_patience);
        },
        [&] { window->save_chain(); });
    window.reset();
    gui_end end{clean && ended, {}};
    if (ended) {
        end.capture_failure = engine->capture_failure();
    } else {
        if (!options.capture.empty())
            end.capture_failure = options.capture + ": was not finished: an effect did not end in time";
        static_cast<void>(engine.release()); // its thread is still in there
    }
    return end;
}

} // namespace player
