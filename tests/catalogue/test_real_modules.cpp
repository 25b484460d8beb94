// Modules as compilers and linkers really write them: those that this build makes.

#include "catalogue/inspectModule.h"
#include "win/utf.h"

#include <doctest/doctest.h>

#include <windows.h>

namespace {

// This build's folder of finished things, seen from the test programs.
std::string dist(const std::string& name)
{
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::string path = win::to_utf8(program);
    path.erase(path.find_last_of('\\'));
    return path + "\\..\\..\\..\\dist\\" + name;
}

} // namespace

TEST_CASE("real modules: the sample effects of both bitnesses, the component and the programs")
{
    const std::string own = sizeof(void*) == 8 ? "x64" : "x86";
    for (const std::string arch : {"x64", "x86"}) {
        for (const char* name : {"qvxEcho", "qvxGain"}) {
            for (const int32_t version : {2, 3}) {
                const std::string path =
                    dist("effects\\" + arch + "\\" + name + (version == 2 ? ".dll" : ".vst3"));
                CAPTURE(path);
                // Each export one kind of entry point, so the caller's preference changes nothing.
                for (const int32_t preferred : {2, 3}) {
                    const module_report report = examineModule(path, preferred);
                    if (arch != own && report.refusal == module_refusal::missing)
                        continue; // the other bitness need not be built
                    CHECK(report.refusal == module_refusal::none);
                    CHECK(report.arch == arch);
                    CHECK(report.vstVersion == version);
                }
            }
        }
    }
    CHECK(examineModule(dist(own + "\\qvx_dsp_vst3.dll"), 2).refusal == module_refusal::no_entry_point);
    CHECK(examineModule(dist(own + "\\qvxplayer.exe"), 2).refusal == module_refusal::executable);
}
