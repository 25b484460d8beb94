#include "catalogue/bundle.h"
#include "catalogue/image_builder.h"
#include "catalogue/inspectModule.h"
#include "sdk/exceptions.h"
#include "support/temp_folder.h"
#include "win/handle.h"
#include "win/utf.h"

#include <doctest/doctest.h>

#include <windows.h>

TEST_CASE("inspectModule: files of every kind")
{
    const temp_folder folder;
    const auto report = [&](const std::string& name) { return examineModule(folder.path(name), 3); };

    folder.write("good.dll", image_builder().build());
    CHECK(report("good.dll").refusal == module_refusal::none);
    const module_info info = inspectModule(folder.path("good.dll"), 3);
    CHECK(info.arch == "x64");
    CHECK(info.vstVersion == 2);

    const std::string umlaut = "\xC3\xA4\xE2\x88\x91\xF0\x9F\x8E\xB5.dll";
    folder.write(umlaut, image_builder::pe32().build());
    CHECK(report(umlaut).arch == "x86");

    std::string longer;
    for (int i = 0; i < 4; ++i) {
        longer += std::string(100, static_cast<char>('a' + i));
        folder.make(longer);
        longer += "\\";
    }
    folder.write(longer + "long.dll", image_builder().build());
    CHECK(report(longer + "long.dll").refusal == module_refusal::none);

    folder.write("empty.dll", {});
    folder.write("text.dll", {'h', 'e', 'l', 'l', 'o'});
    folder.make("sub.dll");
    CHECK(report("empty.dll").refusal == module_refusal::not_a_module);
    CHECK(report("text.dll").refusal == module_refusal::not_a_module);
    CHECK(report("sub.dll").refusal == module_refusal::folder);
    CHECK(report("none.dll").refusal == module_refusal::missing);
    CHECK(report("none\\none.dll").refusal == module_refusal::missing);
    CHECK(report("good.dll\\none.dll").refusal != module_refusal::none);
    CHECK(examineModule("", 3).refusal == module_refusal::missing);
    for (const char* name : {"empty.dll", "sub.dll", "none.dll"})
        CHECK_THROWS_AS(inspectModule(folder.path(name), 3), exception_io_data);

    // Somebody writes to it: still read. Somebody shares nothing: not.
    const std::wstring good = win::to_utf16(folder.path("good.dll"));
    win::file_handle other(
        CreateFileW(good.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    REQUIRE(other);
    CHECK(report("good.dll").refusal == module_refusal::none);
    other.reset();
    other.reset(CreateFileW(good.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    REQUIRE(other);
    CHECK(report("good.dll").refusal == module_refusal::unreadable);
}

TEST_CASE("inspectModule: the files that Windows itself is made of are no plug-ins")
{
    wchar_t system[MAX_PATH];
    REQUIRE(GetSystemDirectoryW(system, MAX_PATH) != 0);
    WIN32_FIND_DATAW entry;
    const HANDLE find = FindFirstFileW((std::wstring(system) + L"\\*.dll").c_str(), &entry);
    REQUIRE(find != INVALID_HANDLE_VALUE);
    int modules = 0;
    do {
        const std::string path = win::to_utf8(std::wstring(system) + L"\\" + entry.cFileName);
        const module_report report = examineModule(path, 2);
        CAPTURE(path);
        CHECK(report.refusal != module_refusal::none);
        modules += report.refusal == module_refusal::no_entry_point;
    } while (FindNextFileW(find, &entry));
    FindClose(find);
    CHECK(modules > 50); // the names of that many were really read
}

TEST_CASE("bundles: the module inside a folder")
{
    const temp_folder folder;
    const auto image = image_builder().build();
    folder.make("Echo.vst3");
    const std::string bundle = folder.path("Echo.vst3"), contents = "Echo.vst3\\Contents";
    CHECK(resolveModulePath(bundle) == bundle);

    const std::string x86 = contents + "\\x86-win", x64 = contents + "\\x86_64-win";
    for (const std::string& each : {contents, x86, x64, x64 + "\\Echo.vst3"}) // a folder is no module file
        folder.make(each);
    folder.write(x86 + "\\Echo.vst3", image);
    CHECK(resolveModulePath(bundle) == folder.path(x86 + "\\Echo.vst3"));
    REQUIRE(RemoveDirectoryW(win::to_utf16(folder.path(x64 + "\\Echo.vst3")).c_str()));
    folder.write(x64 + "\\Echo.vst3", image);
    CHECK(resolveModulePath(bundle + "\\") == folder.path(x64 + "\\Echo.vst3"));

    folder.make("Plain");
    folder.write("File.vst3", image);
    for (const char* name : {"Plain", "File.vst3", "None.vst3"})
        CHECK(resolveModulePath(folder.path(name)) == folder.path(name));
}
