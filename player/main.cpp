// qvxplayer: the player, on the command line and as a window. Exit codes: 0 done, 1 failed (one line on
// standard error says what), 2 the command line is wrong.

#include "player/commands/commands.h"
#include "player/commands/configure.h"
#include "player/commands/scan_progress.h"
#include "player/host/component_settings.h"
#include "player/services/json_config_store.h"
#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/system/terminal.h"
#include "player/window/gui.h"
#include "sdk/abort_callback_impl.h"
#include "win/utf.h"

#include <algorithm>
#include <memory>

namespace {

using namespace player;

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

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

std::string render_bar(double done)
{
    const int percent = static_cast<int>(done * 100);
    const auto filled = static_cast<size_t>(percent * 40 / 100);
    return "[" + std::string(filled, '#') + std::string(40 - filled, '.') + "] " + std::to_string(percent) +
           " % ";
}

// A command that runs with the services there. Progress goes to the status line, if there is one.
command_result run_in_host(const command_line& line, player_host& host,
                           const std::shared_ptr<status_line>& status)
{
    if (line.what == command::services)
        return run_services(line, host);
    if (line.what == command::configure)
        return run_configure(line, host, stop_token());
    if (line.what == command::scan) {
        const auto show = [status](uint64_t folders, uint64_t candidates, const std::string& path) {
            status->show(
                scan_progress_text(folders, candidates, path, terminal_width(std_stream::error) - 1));
        };
        return run_scan(line, host, stop_token(), status ? scan_show(show) : nullptr);
    }
    const auto show = [status](double done) { status->show(render_bar(done)); };
    return run_render(line, host, stop_token(), status ? render_progress(show) : nullptr);
}

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

std::string component_path(const command_line& line)
{
    return line.component.empty() ? program_folder() + "\\qvx_dsp_vst3.dll" : line.component;
}

// Commands that need services: the component is loaded for those that use it, and gone again when this
// returns. `clean` is false when threads stayed inside their work.
command_result run_with_services(const command_line& line, bool& clean)
{
    return guarded([&] {
        auto store = open_store(line);
        if (line.render.tail)
            store = with_tail_on(store);
        const bool shows = !line.quiet && is_terminal(std_stream::error);
        const auto status = shows ? std::make_shared<status_line>() : nullptr;
        const auto hide = [status] {
            if (status)
                status->hide();
        };
        const auto sink = [hide, print = stderr_sink()](std::string_view text) {
            hide();
            print(text);
        };
        auto host =
            std::make_unique<player_host>(line.quiet ? console_log::sink_t() : sink, std::move(store));
        command_result result = guarded([&] {
            if (line.what != command::scan)
                host->load_component(component_path(line));
            host->start();
            return run_in_host(line, *host, status);
        });
        hide();
        const bool idle = host->let_threads_end();
        // A scan that was stopped may hang in a folder that does not answer: not worth any more waiting.
        clean = (idle || line.what != command::scan) && host->shut_down();
        host->console().close();
        if (!clean)
            static_cast<void>(host.release()); // those threads still use its services
        return result;
    });
}

// A console that is only there because this program was started is of no use beside the window.
bool leave_lonely_console()
{
    DWORD processes[2];
    return GetConsoleProcessList(processes, 2) == 1 && FreeConsole();
}

command_result run_window(const command_line& line, bool& clean)
{
    const bool alone = leave_lonely_console();
    const auto lines = std::make_shared<console_lines>();
    command_result result = guarded([&]() -> command_result {
        const auto sink = [lines, print = line.quiet ? console_log::sink_t()
                                                     : stderr_sink()](std::string_view text) {
            lines->add(text);
            if (print)
                print(text);
        };
        auto host = std::make_unique<player_host>(sink, open_store(line));
        host->load_component(component_path(line));
        host->start();
        const gui_end end = run_gui(
            *host, *lines, {line.gui.file, line.gui.capture.empty() ? "" : absolute_path(line.gui.capture)},
            stop_token());
        clean = end.clean;
        host->console().close();
        if (!clean)
            static_cast<void>(host.release()); // what did not end still uses it
        return {{}, end.capture_failure, end.capture_failure.empty() ? 0 : exit_failed};
    });
    if (alone && !result.failure.empty())
        MessageBoxW(nullptr, win::to_utf16(result.failure).c_str(), L"qvxplayer", MB_OK | MB_ICONERROR);
    return result;
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
        case command::gui:
            return run_window(line, clean);
        case command::configure:
        case command::render:
        case command::scan:
        case command::services:
            break;
        }
        return run_with_services(line, clean);
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
    command_result result = run(arguments, clean);
    const uint32_t unwritten = write_text(std_stream::output, result.output);
    if (unwritten && result.failure.empty())
        result = {{}, file_error_text("standard output", "cannot be written", unwritten), exit_failed};
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
