// What cannot be loaded or understood: one line that says so, and a code.

#include "support/temp_folder.h"
#include "vsthost/exit_codes.h"
#include "vsthost/worker_driver.h"
#include "win/utf.h"

#include <doctest/doctest.h>
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <fstream>

using namespace worker_driver;
using vsthost::exit_code;

namespace {

void check_end(worker& with, exit_code code, const std::string& words, const std::string& file = "")
{
    CHECK(with.wait() == static_cast<uint32_t>(code));
    const std::string said = with.errors();
    CAPTURE(said);
    CHECK(said.find(words) != std::string::npos);
    CHECK(said.find(file) != std::string::npos);
    CHECK(std::ranges::count(said, '\n') == 1);
}

} // namespace

TEST_CASE("the command line: what is unknown, missing or wrong is named")
{
    struct row {
        std::vector<std::string> arguments;
        exit_code code;
        const char* words;
    };
    const row rows[] = {
        {{}, exit_code::usage, "no mode given"},
        {{"Prob"}, exit_code::usage, "or --help; did you mean probe?"},
        {{"probe", "a.dll"}, exit_code::usage, "as in --vst \"a.dll\""},
        {{"process", "--vst"}, exit_code::usage, "option --vst needs a value: a file or bundle folder"},
        {{"probe", "--vst", "no such.vst3"},
         exit_code::module_missing,
         "no such.vst3"}, // it needs no version
        {{"process", "--vst", "a.dll", "--bit", "1"}, exit_code::usage, "did you mean --bits?"},
        {{"process", "--vst-version", "4"}, exit_code::usage, "option --vst-version takes"},
        {{"configure", "--parent-window", "11112222333344445"}, exit_code::usage, "--parent-window takes"},
        {{"process", "--vst", "a.dll", "--vst-version", "2"}, exit_code::usage, "needs the option --pipe"},
        {{"probe", "--vst", "none.dll", "--save-state", "x"}, exit_code::module_missing, "does not exist"},
        // Paths that broke out of their quotation marks, or swallowed what follows them.
        {{"configure", "--vst", "e.dll", "--data", "x", "--vst-version", "3"},
         exit_code::usage,
         "behind --vst"},
        {{"configure", "--vst", "e.dll", "--vst-version", "3", "--vst-version", "2"},
         exit_code::usage,
         "twice"},
        {{"process", "--vst", "a.dll", "--vst-version", "2", "--pipe", "C:\\no such folder\\pipe"},
         exit_code::pipe_open,
         "no such folder"},
    };
    for (const row& each : rows) {
        CAPTURE(each.words);
        worker with(arches()[0], each.arguments);
        check_end(with, each.code, each.words);
    }
    worker unwanted(arches()[0],
                    {"process", "--vst", "a.dll", "--vst-version", "2", "--pipe", "\\\\.\\pipe\\taken back"});
    CHECK(unwanted.wait() == static_cast<uint32_t>(exit_code::pipe_open));
    CHECK(unwanted.errors() == "");
    worker version(arches()[0], {"--version"});
    CHECK(version.wait() == 0);
    CHECK(version.output().starts_with(arches()[0] == "x64" ? "qvxVSTHost64 " : "qvxVSTHost32 "));
    worker help(arches()[0], {"probe", "--help"});
    CHECK(help.wait() == 0);
    CHECK(help.output().find(" probe --vst MODULE") != std::string::npos);
}

TEST_CASE("modules that cannot be used are told apart")
{
    const temp_folder folder;
    const std::string text = folder.path("not-a-plugin.dll"), cut = folder.path("half-a-plugin.dll");
    folder.write("not-a-plugin.dll", {'t', 'e', 'x', 't'});
    for (const std::string& arch : arches()) {
        CAPTURE(arch);
        const std::string other = arch == "x64" ? "x86" : "x64";
        std::vector<uint8_t> half = read_file(effect_path(arch, "qvxGain.dll"));
        half.resize(half.size() / 2);
        folder.write("half-a-plugin.dll", half);
        struct row {
            std::string path;
            int version;
            exit_code code;
            const char* words;
        };
        const row rows[] = {
            {dist() + "\\no such effect.vst3", 3, exit_code::module_missing, "does not exist"},
            {text, 2, exit_code::module_unusable, "is not a plug-in"},
            {cut, 2, exit_code::module_unusable,
             "the file is damaged or not complete; install the effect again"},
            {effect_path(other, "qvxGain.vst3"), 3, exit_code::machine_type,
             other == "x86" ? "32-bit (x86)" : "64-bit (x64)"},
            {effect_path(arch, "qvxGain.vst3"), 2, exit_code::module_unusable, "is not a VST 2 module"},
            {effect_path(arch, "qvxGain.dll"), 3, exit_code::module_unusable, "is not a VST 3 module"},
            {dist(), 3, exit_code::module_unusable, "not a VST 3 bundle"},
            {dist(), 2, exit_code::module_unusable, "is a folder"},
        };
        for (const row& each : rows) {
            CAPTURE(each.path);
            worker with({arch, each.path, each.version});
            check_end(with, each.code, each.words, each.path);
        }
    }
}

TEST_CASE("a library that a module needs and that is not there is named")
{
    const std::pair<std::string, std::string> cases[] = {
        {"msvcrt.dll", "absent.dll"},
        // It lies beside the worker, where the loader does not look for what a module needs.
        {"KERNEL32.dll", "libstdc++-6.dll"},
    };
    for (const std::string& arch : arches())
        for (const auto& each : cases) {
            const auto &needed = each.first, &absent = each.second;
            CAPTURE(arch);
            CAPTURE(absent);
            std::vector<uint8_t> module = read_file(effect_path(arch, "qvxGain.dll"));
            auto at = std::search(module.begin(), module.end(), needed.begin(), needed.end());
            REQUIRE(at != module.end());
            std::copy(absent.c_str(), absent.c_str() + absent.size() + 1, at);
            const temp_folder folder;
            folder.write("needs-more.dll", module);
            // Nor is one loaded that somebody put into the folder where the player is.
            const temp_folder current;
            current.write(absent, read_file(effect_path(arch, "qvxGain.dll")));
            REQUIRE(SetCurrentDirectoryW(win::to_utf16(current.path()).c_str()));
            worker with({arch, folder.path("needs-more.dll"), 2});
            check_end(with, exit_code::dependency_missing, "it needs " + absent, folder.path());
            REQUIRE(SetCurrentDirectoryW(win::to_utf16(folder.path("..")).c_str()));
        }
}

TEST_CASE("a bundle folder is opened through its module file, however long its path is")
{
    for (const std::string& arch : arches()) {
        const temp_folder folder;
        const std::string deep(arch == "x64" ? 1 : 240, 'd'),
            bundle = deep + "\\my Gain.vst3", contents = bundle + "\\Contents",
            inside = contents + (arch == "x64" ? "\\x86_64-win" : "\\x86-win");
        for (const std::string& each : {deep, bundle, contents, inside})
            folder.make(each);
        folder.write(inside + "\\my Gain.vst3", read_file(effect_path(arch, "qvxGain.vst3")));
        worker with({arch, folder.path(bundle), 3});
        with.set_state({});
        const Nv::streamFormat stereo{44100, 2, 3, 2, 3};
        CHECK(with.set_format(stereo) == stereo);
    }
}

TEST_CASE("commands that break the protocol end the worker with a line")
{
    const Nv::streamFormat stereo{44100, 2, 3, 2, 3};
    struct row {
        uint32_t code;
        std::vector<char> payload;
        bool after_format;
        const char* words;
    };
    const row rows[] = {
        {77, {}, true, "unknown command (77)"},
        {Nv::cmdProcess, std::vector<char>(16), false, "before a format"},
        {Nv::cmdProcess, std::vector<char>(17), true, "whole frame"},
        {Nv::cmdSetFormat, std::vector<char>(19), true, "19 bytes instead of 20"},
        {Nv::cmdReset, std::vector<char>(1), true, "a reset with 1 bytes"},
    };
    for (const std::string& arch : arches())
        for (const row& each : rows) {
            CAPTURE(arch);
            CAPTURE(each.words);
            worker with({arch, effect_path(arch, "qvxGain.vst3"), 3});
            with.set_state({});
            if (each.after_format)
                with.set_format(stereo);
            with.send(each.code, each.payload.data(), each.payload.size());
            CHECK(with.wait() == static_cast<uint32_t>(exit_code::protocol));
            CHECK(with.errors().find(each.words) != std::string::npos);
        }
    // A length that nobody has: refused before anything is read or allocated for it.
    worker with({arches()[0], effect_path(arches()[0], "qvxGain.vst3"), 3});
    const Nv::commandHeader huge{Nv::cmdSetState, 0xFFFFFFFF};
    with.write(&huge, sizeof huge);
    CHECK(with.wait() == static_cast<uint32_t>(exit_code::protocol));
}

TEST_CASE("a format that no effect can have is answered, not obeyed")
{
    worker with({arches()[0], effect_path(arches()[0], "qvxGain.vst3"), 3});
    with.set_state({});
    CHECK(with.set_format({10, 2, 3, 2, 3}).sampleRate == 0);
    CHECK(with.set_format({44100, 0xFFFFFFFF, 3, 2, 3}).inChannels == 0);
    const Nv::streamFormat stereo{44100, 2, 3, 2, 3};
    CHECK(with.set_format(stereo) == stereo);
}
