// Crashing and hanging test modules do so in the call of their name, each in a process of its own.

#include "effects/plugin_driver.h"
#include "support/test_options.h"

#include <doctest/doctest.h>
#include <windows.h>

#include <string>

namespace {

constexpr unsigned limit_ms = 20000;

// Of every call, the step of host_that_runs_one_module that makes it.
struct expectation {
    const char* call;
    const char* step;
    const char* step_vst2 = step;
};
constexpr expectation expectations[] = {
    {"entry", "open"},
    {"create", "open"},
    {"open", "open"},
    {"layout", "layout"},
    {"prepare", "start"},
    {"start", "start"},
    {"process", "process"},
    {"stop", "stop"},
    {"save", "save"},
    {"restore", "restore"},
    {"latency", "latency", "open"},
    {"tail", "tail"},
    {"close", "close"},
};

// A running host; its output is read line by line.
class host_process {
public:
    explicit host_process(const std::wstring& module_name)
    {
        SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
        HANDLE write = nullptr;
        REQUIRE(CreatePipe(&output_, &write, &inherited, 0));
        SetHandleInformation(output_, HANDLE_FLAG_INHERIT, 0);
        std::wstring command = L"\"" + test_program_path(L"host_that_runs_one_module.exe") + L"\" \"" +
                               test_module_path(module_name) + L"\"";
        STARTUPINFOW start{};
        start.cb = sizeof(start);
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = start.hStdError = write;
        PROCESS_INFORMATION made{};
        const BOOL began = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                          nullptr, nullptr, &start, &made);
        CloseHandle(write);
        REQUIRE(began);
        CloseHandle(made.hThread);
        process_ = made.hProcess;
    }
    ~host_process()
    {
        TerminateProcess(process_, 0);
        WaitForSingleObject(process_, limit_ms);
        CloseHandle(process_);
        CloseHandle(output_);
    }

    // The exit code, once all output has been read; STILL_ACTIVE when it does not end.
    DWORD wait(unsigned milliseconds)
    {
        WaitForSingleObject(process_, milliseconds);
        DWORD code = 0;
        GetExitCodeProcess(process_, &code);
        return code;
    }
    // What is there to read now; does not wait.
    std::string lines()
    {
        for (;;) {
            DWORD available = 0, got = 0;
            if (!PeekNamedPipe(output_, nullptr, 0, nullptr, &available, nullptr) || available == 0)
                return lines_;
            std::string part(available, '\0');
            if (!ReadFile(output_, part.data(), available, &got, nullptr))
                return lines_;
            lines_.append(part, 0, got);
        }
    }
    std::string last_line()
    {
        std::string all = lines();
        std::erase(all, '\r');
        if (all.ends_with('\n'))
            all.pop_back();
        const auto newline = all.rfind('\n');
        return newline == std::string::npos ? all : all.substr(newline + 1);
    }

private:
    HANDLE process_ = nullptr;
    HANDLE output_ = nullptr;
    std::string lines_;
};

std::wstring wide(const std::string& text)
{
    return {text.begin(), text.end()};
}

} // namespace

TEST_CASE("test modules: a module without faults goes through every step")
{
    for (const wchar_t* format : {L".dll", L".vst3"}) {
        host_process host(std::wstring(L"module_that_passes_through") + format);
        CHECK(host.wait(limit_ms) == 0);
        CHECK(host.last_line() == "done");
    }
}

TEST_CASE("test modules: a crash comes in the call of the module's name")
{
    for (const std::string format : {".dll", ".vst3"}) {
        for (const expectation& expected : expectations) {
            const std::string name = std::string("module_that_crashes_in_") + expected.call + format;
            CAPTURE(name);
            host_process host(wide(name));
            CHECK(host.wait(limit_ms) == EXCEPTION_ACCESS_VIOLATION);
            CHECK(host.last_line() == (format == ".dll" ? expected.step_vst2 : expected.step));
        }
    }
}

TEST_CASE("test modules: a hang comes in the call of the module's name")
{
    for (const std::string format : {".dll", ".vst3"}) {
        for (const expectation& expected : expectations) {
            if (!test_options::long_run() && expected.call != std::string("process"))
                continue;
            const std::string name = std::string("module_that_hangs_in_") + expected.call + format;
            const std::string step = format == ".dll" ? expected.step_vst2 : expected.step;
            CAPTURE(name);
            host_process host(wide(name));
            // Until the step is reached; then it must last.
            for (unsigned waited = 0; host.last_line() != step && waited < limit_ms; waited += 10)
                REQUIRE(host.wait(10) == STILL_ACTIVE);
            CHECK(host.wait(300) == STILL_ACTIVE);
            CHECK(host.last_line() == step);
        }
    }
}
