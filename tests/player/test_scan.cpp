// The scan command as people run it, over real folders.

#include "catalogue/image_builder.h"
#include "player/commands/scan_progress.h"
#include "player/system/os_path.h"
#include "run_program.h"
#include "support/folder_link.h"

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

using namespace player;

namespace {

using strings = std::vector<std::string>;

struct scan_fixture {
    strings with_config(strings arguments) const
    {
        arguments.insert(arguments.begin(), {"--config", settings.path("config.json")});
        return arguments;
    }
    program_result run(const strings& arguments) const
    {
        return run_program(dist_folder() + "\\qvxplayer.exe", with_config(arguments));
    }
    // The files and folders of a tree as the system lists them: files first, then each folder.
    void independent_listing(const std::string& folder, strings& modules) const
    {
        strings folders;
        WIN32_FIND_DATAW entry;
        const HANDLE find = FindFirstFileW(os_path(top.path(folder) + "\\*").c_str(), &entry);
        REQUIRE(find != INVALID_HANDLE_VALUE);
        do {
            const std::string name = win::to_utf8(entry.cFileName);
            const std::string path = folder + "\\" + name;
            if (name == "." || name == "..")
                continue;
            if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                folders.push_back(path);
            else if (std::count(written.begin(), written.end(), path) != 0)
                modules.push_back(path);
        } while (FindNextFileW(find, &entry));
        FindClose(find);
        for (const std::string& path : folders) {
            if (!path.ends_with("circle"))
                independent_listing(path, modules);
        }
    }
    void write_module(const std::string& name, image_builder image = {})
    {
        top.write(name, image.build());
        written.push_back(name);
    }

    temp_folder top, settings;
    strings written; // modules
};

} // namespace

TEST_CASE("scan command: long paths, names of every script, bundles, links in a circle; order and duplicates")
{
    scan_fixture test;
    const std::string hall = "\xE6\xAE\x8B\xE9\x9F\xBF \xF0\x9F\x8E\xB5"; // in no code page
    const std::string deep = "d\\" + std::string(120, 'x');
    for (const std::string& folder :
         {std::string("d"), deep, deep + "\\" + std::string(120, 'y'), "d\\" + hall, std::string("d\\B.vst3"),
          std::string("d\\B.vst3\\Contents"), std::string("d\\B.vst3\\Contents\\x86_64-win")})
        test.top.make(folder);
    test.write_module(deep + "\\" + std::string(120, 'y') + "\\" + std::string(100, 'z') + ".dll");
    test.write_module("d\\" + hall + "\\" + hall + ".DLL");
    image_builder vst3;
    vst3.names = {"GetPluginFactory"};
    test.write_module("d\\B.vst3\\Contents\\x86_64-win\\B.vst3", vst3);
    test.write_module("d\\second.vst3", vst3);
    test.write_module("d\\first.dll", image_builder::pe32());
    test.top.write("d\\text.dll", {'t'});
    test.top.write("d\\other.exe", image_builder().build());
    const folder_link circle(test.top.path("d"), test.top.path(deep + "\\circle"));
    REQUIRE(circle);

    strings expected;
    test.independent_listing("d", expected);
    REQUIRE(expected.size() == test.written.size());
    const program_result result = test.run({"scan", "--json", test.top.path("d"), test.top.path("d") + "\\"});
    CAPTURE(result.err);
    REQUIRE(result.exit_code == 0);
    CHECK(result.err.empty());
    const auto list = nlohmann::json::parse(result.out);
    REQUIRE(list.size() == 2 * expected.size());
    for (size_t i = 0; i < list.size(); ++i)
        CHECK(list[i]["path"] == test.top.path(expected[i % expected.size()]));
    const auto first =
        std::find_if(list.begin(), list.end(), [](const auto& row) { return row["name"] == "first"; });
    REQUIRE(first != list.end());
    const nlohmann::json row = {{"displayName", "first (VST v2, 32-bit)"},
                                {"name", "first"},
                                {"path", test.top.path("d\\first.dll")},
                                {"arch", "x86"},
                                {"vstVersion", 2}};
    CHECK(*first == row);

    // The folders of the settings; what is a line here.
    REQUIRE(test.run({"settings", "folders=" + test.top.path("d\\" + hall) + ";" + test.top.path("gone")})
                .exit_code == 0);
    const program_result text = test.run({"scan"});
    CHECK(text.err.empty());
    CHECK(text.out.starts_with(hall + " (VST v2, 64-bit)  " + test.top.path(test.written[1]) + "\n"));
}

TEST_CASE("scan command: folders that are none are named before anything is scanned")
{
    scan_fixture test;
    test.top.make("a");
    test.write_module("a\\x.dll");
    const std::string a = test.top.path("a");
    const std::pair<std::string, std::string> rows[] = {
        {test.top.path("none"), "none: cannot be scanned"},
        {test.top.path("none\\none"), "none\\none: cannot be scanned"},
        {a + "\\x.dll", "x.dll: is a file"},
        {"http://x/y", "http://x/y: cannot be scanned"},
    };
    for (const auto& [folder, line] : rows) {
        const program_result result = test.run({"scan", a, folder});
        CAPTURE(result.err);
        CHECK(result.exit_code == 1);
        CHECK(result.out.empty());
        CHECK(result.err.starts_with("qvxplayer: "));
        CHECK(result.err.find(line) != std::string::npos);
        CHECK(std::count(result.err.begin(), result.err.end(), '\n') == 1);
    }
    test.top.make("empty");
    const program_result nothing = test.run({"scan", test.top.path("empty")});
    CHECK(nothing.exit_code == 0);
    CHECK(nothing.out.empty());
    CHECK(nothing.last_line().starts_with("qvxplayer: scan: no effects found"));
    CHECK(test.run({"scan", "--json", test.top.path("empty")}).out == "[]\n");
}

TEST_CASE("scan progress: as wide as the line at most, with the end of a long path")
{
    CHECK(scan_progress_text(1, 0, "C:\\a", 60) == "1 folder, 0 candidates: C:\\a");
    const std::string path = "C:\\" + std::string(60, 'a') + "\\end.dll";
    CHECK(scan_progress_text(12, 345, path, 39) == "12 folders, 345 candidates: ...\\end.dll");
    CHECK(scan_progress_text(12, 345, path, 10) == "12 folders");
    // Characters that take two cells are never cut.
    const std::string wide = "\xE6\xAE\x8B\xE9\x9F\xBF\xE6\xAE\x8B";
    CHECK(scan_progress_text(1, 1, wide, 29) == "1 folder, 1 candidate: " + wide);
    CHECK(scan_progress_text(1, 1, wide, 28) == "1 folder, 1 candidate: ...\xE6\xAE\x8B");
}
