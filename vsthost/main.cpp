#include "vsthost/command_line.h"
#include "vsthost/exit_codes.h"
#include "vsthost/modes/modes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"
#include "vsthost/run_to_the_end.h"
#include "win/utf.h"

#include <windows.h>

#include <shellapi.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> arguments()
{
    int count = 0;
    std::vector<std::string> result;
    if (wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count)) {
        for (int i = 1; i < count; ++i)
            result.push_back(win::to_utf8(words[i]));
        LocalFree(words);
    }
    return result;
}

void run(const vsthost::options& wanted)
{
    using namespace vsthost;
    switch (wanted.mode) {
    case run_mode::process:
        run_process_mode(wanted);
    case run_mode::probe:
        run_probe_mode(wanted);
        break;
    case run_mode::version:
        print_to_user("qvxVSTHost" QVX_BITS_TEXT " " QVX_VERSION "\n");
        break;
    case run_mode::help:
        print_to_user(help_text("qvxVSTHost" QVX_BITS_TEXT));
        break;
    case run_mode::configure:
    case run_mode::configure_live:
        run_configure_mode(wanted);
    }
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int)
{
    using namespace vsthost;
    install_fault_handling();
    run_to_the_end([] {
        const auto parsed = parse_command_line(arguments(), GetCommandLineW());
        if (const auto* const error = std::get_if<usage_error>(&parsed))
            throw fatal_error(exit_code::usage, error->text);
        run(std::get<options>(parsed));
    });
}
