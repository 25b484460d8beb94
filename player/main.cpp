// qvxplayer: the player on the command line. Exit codes: 0 done, 1 failed (one line on standard error says
// what), 2 the command line is wrong.

#include "player/commands.h"
#include "player/component_settings.h"
#include "player/json_config_store.h"
#include "player/os_path.h"
#include "player/player_error.h"
#include "player/terminal.h"
#include "sdk/abort_callback_impl.h"
#include "win/utf.h"

#include <algorithm>
#include <memory>
#include <mutex>

namespace {

using namespace player;

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;
// For the last lines of workers that have ended.
constexpr std::chrono::milliseconds last_words_limit{500};

// Ctrl+C and its kin. The token lives as long as the process: the handler runs on a thread of the system's.
abort_callback_impl& stop_token()
{
    static abort_callback_impl token;
    return token;
}

BOOL WINAPI on_console_event(DWORD event)
{
    stop_token().abort();
    // The process is ended when this returns from a closing console or a log-off: leave time to finish.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(4000);
    return TRUE;
}

std::string default_config()
{
    wchar_t folder[32767];
    const DWORD length = GetEnvironmentVariableW(L"APPDATA", folder, static_cast<DWORD>(std::size(folder)));
    if (length == 0 || length >= std::size(folder))
        return program_folder() + "\\config.json";
    return win::to_utf8(std::wstring_view(folder, length)) + "\\qvxplayer\\config.json";
}

// The last line of a terminal while a render runs. Any thread: console lines come in between.
class progress_bar {
public:
    void show(double done)
    {
        const std::lock_guard lock(mutex_);
        const int percent = static_cast<int>(done * 100);
        if (percent == shown_)
            return;
        shown_ = percent;
        const auto filled = static_cast<size_t>(percent * 40 / 100);
        write_text(std_stream::error, "\r[" + std::string(filled, '#') + std::string(40 - filled, '.') +
                                          "] " + std::to_string(percent) + " % ");
    }
    void hide()
    {
        const std::lock_guard lock(mutex_);
        if (shown_ >= 0)
            write_text(std_stream::error, "\r" + std::string(50, ' ') + "\r");
        shown_ = -1;
    }

private:
    std::mutex mutex_;
    int shown_ = -1; // percent, -1: there is no bar
};

// Turns what `work` throws into the line for standard error and the exit code.
template <class Work>
command_result guarded(Work&& work)
{
    try {
        return work();
    } catch (const usage_error& error) {
        return {{}, error.what(), exit_usage};
    } catch (const std::bad_alloc&) {
        return {{}, "out of memory; use smaller chunks or close other programs", exit_failed};
    } catch (const std::exception& error) {
        return {{}, error.what(), exit_failed};
    }
}

service_ptr_t<config_store> open_store(const command_line& line)
{
    return service_new<json_config_store>(line.config.empty() ? default_config()
                                                              : absolute_path(line.config));
}

// Commands that need the component: it is loaded, used and gone again when this returns. `clean` is false
// when threads stayed inside it.
command_result run_with_component(const command_line& line, bool& clean)
{
    return guarded([&] {
        auto store = open_store(line);
        if (line.render.tail)
            store = with_tail_on(store);
        const auto bar = std::make_shared<progress_bar>();
        const auto sink = [bar, print = stderr_sink()](std::string_view text) {
            bar->hide();
            print(text);
        };
        auto host =
            std::make_unique<player_host>(line.quiet ? console_log::sink_t() : sink, std::move(store));
        command_result result = guarded([&] {
            host->load_component(line.component.empty() ? program_folder() + "\\qvx_dsp_vst3.dll"
                                                        : line.component);
            host->start();
            if (line.what == command::services)
                return run_services(line, *host);
            const bool shows = !line.quiet && is_terminal(std_stream::error);
            return run_render(line, stop_token(),
                              shows ? render_progress([bar](double done) { bar->show(done); }) : nullptr);
        });
        bar->hide();
        host->let_threads_end(last_words_limit);
        clean = host->shut_down();
        host->console().close();
        if (!clean)
            static_cast<void>(host.release()); // those threads still use its services
        return result;
    });
}

command_result run(const std::vector<std::string>& arguments, bool& clean)
{
    return guarded([&]() -> command_result {
        const command_line line = parse_command_line(arguments);
        switch (line.what) {
        case command::help:
            return {line.help_text, {}};
        case command::version:
            return {"qvxplayer " QVX_VERSION "\n", {}};
        case command::preset:
            return run_preset(line);
        case command::settings:
            return run_settings(line, *open_store(line));
        case command::render:
        case command::services:
            break;
        }
        return run_with_component(line, clean);
    });
}

} // namespace

int wmain(int argument_count, wchar_t** argument_values)
{
    SetConsoleCtrlHandler(&on_console_event, TRUE);
    std::vector<std::string> arguments;
    for (int i = 1; i < argument_count; ++i)
        arguments.push_back(win::to_utf8(argument_values[i]));

    bool clean = true;
    const command_result result = run(arguments, clean);
    write_text(std_stream::output, result.output);
    if (!result.failure.empty()) {
        std::string line = "qvxplayer: " + result.failure;
        std::replace(line.begin(), line.end(), '\n', ' ');
        std::replace(line.begin(), line.end(), '\r', ' ');
        write_text(std_stream::error, line + "\n");
    }
    // With threads inside the component nothing may be unloaded or destroyed any more.
    if (!clean)
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(result.exit_code));
    return result.exit_code;
}
