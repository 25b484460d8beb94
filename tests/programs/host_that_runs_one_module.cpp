// host_that_runs_one_module MODULE: opens it, runs it once through all calls and closes it. Prints the name
// of each step before it takes it, so that a test can tell where a module crashed (exit code: the
// exception's) or hung. Exit code 0 when all went through, 2 when the module answered a failure.

#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include "effects/plugin_driver.h"

#include <windows.h>

#include <cstdio>

namespace {

LONG WINAPI end_with_code(EXCEPTION_POINTERS* what)
{
    TerminateProcess(GetCurrentProcess(), what->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

void step(const char* name)
{
    std::printf("%s\n", name);
    std::fflush(stdout);
}

void run(const std::wstring& path)
{
    step("open");
    auto plugin = open_plugin(path);
    step("layout");
    plugin->set_channels(plugin->channels());
    step("start");
    plugin->start(44100, 64, false);
    step("latency");
    plugin->latency();
    step("tail");
    plugin->tail();
    step("process");
    plugin->run(std::vector<std::vector<float>>(2, std::vector<float>(64)), 64);
    step("stop");
    plugin->stop();
    step("save");
    const bytes state = plugin->save();
    step("restore");
    plugin->load(state);
    step("close");
    plugin.reset();
    step("done");
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    SetUnhandledExceptionFilter(end_with_code);
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    doctest::Context context; // the driver's checks run outside of a test case
    context.setAsDefaultForAssertsOutOfTestCases();
    context.setAssertHandler([](const doctest::AssertData& failed) {
        std::fprintf(stderr, "%s:%d: %s\n", failed.m_file, failed.m_line, failed.m_expr);
        std::_Exit(2);
    });
    if (argc != 2)
        return 1;
    run(argv[1]);
    return 0;
}
