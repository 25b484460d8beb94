// The scan command as people run it, over real folders.

#include "catalogue/image_builder.h"
#include "player/commands/scan_progress.h"
#include "run_program.h"

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

using namespace player;

namespace {

// While it lives, "circle" in a folder leads to the folder above, if this system can do that.
class circle {
public:
    explicit circle(const std::string& folder)
        : folder_(win::to_utf16(folder))
    {
        if (on_wine())
            run_native(L"ln -s .. circle", true);
        else
            CreateSymbolicLinkW(link().c_str(), L"..",
                                SYMBOLIC_LINK_FLAG_DIRECTORY | SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE);
    }
    ~circle()
    {
        if (on_wine())
            run_native(L"rm circle", false);
    }
    circle(const circle&) = delete;
    circle& operator=(const circle&) = delete;
    bool is_there() const
    {
        const DWORD attributes = GetFileAttributesW(link().c_str());
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
    }

private:
    std::wstring link() const { return folder_ + L"\\circle"; }
    static bool on_wine()
    {
        return GetProcAddress(GetModuleHandleW(L"ntdll"), "wine_get_version") != nullptr;
    }
    // Wine has no links of its own but says it made one; there the build machine's programs do it. Waits
    // until the link is there or is not; a native program's handle does not tell when it has run.
    void run_native(std::wstring command, bool expected) const
    {
        const std::wstring program = L"\\\\?\\unix\\bin\\" + command.substr(0, 2);
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process{};
        if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                            folder_.c_str(), &startup, &process))
            return;
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
        for (int i = 0; i < 500 && is_there() != expected; ++i)
            Sleep(10);
    }

    std::wstring folder_;
};

} // namespace

TEST_CASE("scan command: long paths, names of every script, bundles, links in a circle; order and duplicates")
{
    const player_fixture test;
    const temp_folder& top = test.folder;
    const std::string hall = "\xE6\xAE\x8B\xE9\x9F\xBF \xF0\x9F\x8E\xB5"; // in no code page
    const std::string deep = "d\\" + std::string(120, 'x'), deeper = deep + "\\" + std::string(120, 'y');
    for (const std::string& folder :
         {std::string("d"), deep, deeper, "d\\" + hall, std::string("d\\B.vst3"),
          std::string("d\\B.vst3\\Contents"), std::string("d\\B.vst3\\Contents\\x86_64-win")})
        top.make(folder);
    image_builder vst3;
    vst3.names = {"GetPluginFactory"};
    // As they are found: a folder's files before its folders, each in the system's order.
    const std::pair<std::string, image_builder> modules[] = {
        {"d\\first.dll", image_builder::pe32()},
        {"d\\second.vst3", vst3},
        {"d\\B.vst3\\Contents\\x86_64-win\\B.vst3", vst3},
        {deeper + "\\" + std::string(100, 'z') + ".dll", image_builder()},
        {"d\\" + hall + "\\" + hall + ".DLL", image_builder()},
    };
    strings expected;
    for (auto [name, image] : modules) {
        top.write(name, image.build());
        expected.push_back(top.path(name));
    }
    top.write("d\\text.dll", {'t'});
    top.write("d\\other.exe", image_builder().build());
    const circle link(top.path(deep));
    REQUIRE(link.is_there());

    const program_result result = test.run({"scan", "--json", top.path("d"), top.path("d") + "\\"});
    CAPTURE(result.err);
    REQUIRE(result.exit_code == 0);
    CHECK(result.err.empty());
    strings found;
    const auto list = nlohmann::json::parse(result.out);
    for (const auto& each : list)
        found.push_back(each["path"]);
    CHECK(found == with(expected, expected));
    const nlohmann::json row = {{"displayName", "first (VST v2, 32-bit)"},
                                {"name", "first"},
                                {"path", expected[0]},
                                {"arch", "x86"},
                                {"vstVersion", 2}};
    CHECK(list[0] == row);

    // The folders of the settings; what is a line here.
    REQUIRE(test.run({"settings", "folders=" + top.path("d\\" + hall) + ";" + top.path("gone")}).exit_code ==
            0);
    const program_result text = test.run({"scan"});
    CHECK(text.err.empty());
    CHECK(text.out.starts_with(hall + " (VST v2, 64-bit)  " + expected[4] + "\n"));
}

TEST_CASE("scan command: folders with nothing in them, and those that are none, before anything is scanned")
{
    const player_fixture test;
    const temp_folder& top = test.folder;
    top.make("empty");
    top.write("first.dll", image_builder().build());

    const program_result nothing = test.run({"scan", top.path("empty")});
    CHECK(nothing.exit_code == 0);
    CHECK(nothing.out.empty());
    CHECK(nothing.last_line().starts_with("qvxplayer: scan: no effects found"));
    CHECK(test.run({"scan", "--json", top.path("empty")}).out == "[]\n");
    const std::pair<std::string, std::string> refusals[] = {
        {top.path("none"), "none: cannot be scanned"},
        {top.path("first.dll"), "first.dll: is a file"},
        {"http://x/y", "http://x/y: cannot be scanned"},
    };
    for (const auto& [folder, line] : refusals) {
        const program_result refused = test.run({"scan", top.path(), folder});
        CAPTURE(refused.err);
        CHECK(refused.exit_code == 1);
        CHECK(refused.out.empty());
        CHECK(refused.err.starts_with("qvxplayer: "));
        CHECK(refused.err.find(line) != std::string::npos);
        CHECK(std::count(refused.err.begin(), refused.err.end(), '\n') == 1);
    }
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
