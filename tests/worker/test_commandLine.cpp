// The workers' command line: complete lines for each kind of launch, joining, and the choice of the program.

#include "worker/commandLine.h"

#include <doctest/doctest.h>

using namespace Nv;

namespace {

vstConfig_t effect_with_flags(uint32_t flags)
{
    vstConfig_t effect;
    effect.flags = flags;
    return effect;
}

std::string line_of(std::string_view mode, const argumentList& options, int vst_version = 3)
{
    return joinCommandLine(workerArguments(R"(C:\Program Files\P\qvxVSTHost64.exe)", mode,
                                           R"(C:\Effects\Echo.dll)", vst_version, options,
                                           R"(\\.\pipe\0123456789abcdef0123456789abcdef)"));
}

} // namespace

TEST_CASE("whole command lines of the launches")
{
    const std::string begin = R"("C:\Program Files\P\qvxVSTHost64.exe" )";
    const std::string end = R"( --pipe \\.\pipe\0123456789abcdef0123456789abcdef)";

    CHECK(line_of("process", processOptions(effect_with_flags(0), 0), 2) ==
          begin +
              R"(process --vst C:\Effects\Echo.dll --vst-version 2 --formattag 3 --bits 64 )"
              R"(--protocol chunked --float64 0 --process offline)" +
              end);
    CHECK(line_of("process", processOptions(effect_with_flags(2), 1)) ==
          begin +
              R"(process --vst C:\Effects\Echo.dll --vst-version 3 --formattag 3 --bits 64 )"
              R"(--protocol chunked --float64 1 --process realtime)" +
              end);
    CHECK(line_of("configure", configureOptions(true, R"(C:\Temp\00ff)", 0x1A2B)) ==
          begin +
              R"(configure --vst C:\Effects\Echo.dll --vst-version 3 --dpi-aware yes --data C:\Temp\00ff )"
              R"(--parent-window 1a2b --formattag 3 --bits 64 --process realtime)" +
              end);
    CHECK(line_of("configure-live", visualizationOptions(false, 0)) ==
          begin +
              R"(configure-live --vst C:\Effects\Echo.dll --vst-version 3 --dpi-aware no )"
              R"(--parent-window 0 --formattag 3 --bits 64 --window-title "VST Visualization" )"
              R"(--process realtime)" +
              end);
}

TEST_CASE("a launch without a pipe names none")
{
    CHECK(joinCommandLine(workerArguments("w.exe", "process", "e.dll", 2, {}, "")) ==
          "w.exe process --vst e.dll --vst-version 2");
}

TEST_CASE("joining quotes for a space only and escapes nothing")
{
    CHECK(joinCommandLine({}) == "");
    CHECK(joinCommandLine({"a b", "c\td", R"(e"f)", R"(g h\)", R"(i\)"}) ==
          "\"a b\" c\td e\"f \"g h\\\" i\\");
    CHECK(joinCommandLine({"a", "", "b"}) == "a  b"); // an empty argument only adds its space
    CHECK(joinCommandLine({"", "a", ""}) == "a ");    // but none while the line is empty
    CHECK(joinCommandLine({" "}) == "\" \"");
}

TEST_CASE("exactly x64 runs in the 64-bit worker")
{
    CHECK(workerFileName("x64") == "qvxVSTHost64.exe");
    for (const char* other : {"", "x86", "X64", "ARM64", "x6", "x640", " x64", "x64 ", "amd64"}) {
        CAPTURE(other);
        CHECK(workerFileName(other) == "qvxVSTHost32.exe");
    }
    using namespace std::string_view_literals;
    CHECK(workerFileName("x64\0more"sv) == "qvxVSTHost64.exe"); // a text ends at its NUL
}

TEST_CASE("the folder of a path keeps its separator")
{
    CHECK(folderOf(R"(C:\A b\c.dll)") == R"(C:\A b\)");
    CHECK(folderOf("C:/a/b") == "C:/a/");
    CHECK(folderOf("C:c.dll") == "C:");
    CHECK(folderOf("pack|c.dll") == "pack|");
    CHECK(folderOf("c.dll") == "");
    CHECK(folderOf("") == "");
}
