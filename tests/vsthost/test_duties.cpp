// Each module against each duty of a worker, in every build; the result is also printed as a table.

#include "vsthost/module_cases.h"
#include "win/utf.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <optional>

using namespace module_cases;

namespace {

struct subject {
    std::string name;
    int only_version = 0;
    uint32_t in = 2; // what it gets, and what it then gives
    uint32_t out = 2;
    std::optional<double> level = 0.5; // what its state makes of a sample; none: something else
    uint32_t latency = 0;
    std::pair<size_t, size_t> tail = {0, 0}; // frames, from and to
    size_t state_size = 12;
};

const subject subjects[] = {
    {"module_that_passes_through"},
    {.name = "module_that_is_mono_only", .in = 1, .out = 1},
    {"module_with_mono_buses"},
    {"module_with_a_side_chain"},
    {.name = "module_with_two_inputs_and_six_outputs", .out = 6},
    {.name = "module_with_48000_samples_of_latency",
     .level = std::nullopt,
     .latency = 48000,
     .tail = {48000, 60000}},
    {.name = "module_that_changes_its_latency", .level = std::nullopt, .latency = 100, .tail = {100, 2000}},
    {.name = "module_with_a_tail", .level = std::nullopt, .tail = {4096, 4096}},
    {.name = "module_with_an_endless_tail", .level = std::nullopt, .tail = {12000, 17000}},
    {.name = "module_with_a_large_state", .state_size = 6u << 20},
    {.name = "module_with_an_empty_state", .level = 1.0, .state_size = 0},
    {.name = "module_that_rings_for_ever", .level = std::nullopt, .tail = {30 * 44100, 30 * 44100}},
    {"module_without_chunks"},
    {"module_without_64_bit"},
    {"module_with_34_classes"},
    {"module_without_a_controller", 3},
    {"module_with_a_separate_controller", 3},
    {"module_with_names_in_unicode_only", 3},
};

const char* const duties[] = {"format", "sound", "latency", "tail", "state", "other bits", "probe", "end"};

// Cells hold the builds that passed, such as "2/64".
using table = std::map<std::string, std::map<std::string, std::string>>;

std::vector<uint8_t> state_of(const kind& which, const subject& what)
{
    // A VST 2 effect without chunks, or with an empty one, is kept by its parameters.
    if (which.version == 2 && (what.name == "module_without_chunks" || what.state_size == 0)) {
        const float level[] = {static_cast<float>(*what.level)};
        return vsthost::write_vst2_parameters(static_cast<int32_t>(hash(what.name)), 0, level);
    }
    if (what.name == "module_with_34_classes") // class 32 halves as well
        return level_state(which, "Class 32", 1.0, 12, 32);
    return level_state(which, what.name, 0.5, what.state_size);
}

std::string temporary(const std::string& name)
{
    wchar_t folder[MAX_PATH + 1];
    GetTempPathW(MAX_PATH, folder);
    return win::to_utf8(folder) + "duties-" + std::to_string(GetCurrentProcessId()) + "-" + name;
}

void write_file(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    REQUIRE(file);
    CHECK(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
    std::fclose(file);
}

struct probed {
    std::vector<uint8_t> state;
    std::string record;
    std::chrono::milliseconds took;
};

probed probe(const kind& which, const std::string& module, const std::vector<uint8_t>& state)
{
    const std::string in = temporary("in");
    const std::string out = temporary("out");
    write_file(in, state);
    const auto begin = std::chrono::steady_clock::now();
    worker with(which.arch, {"probe", "--vst", module, "--vst-version", std::to_string(which.version),
                             "--state", in, "--save-state", out});
    CHECK(with.wait() == 0);
    const auto took = std::chrono::steady_clock::now() - begin;
    const std::string said = with.errors();
    CHECK(said == "");
    probed result{read_file(out), with.output(), std::chrono::duration_cast<std::chrono::milliseconds>(took)};
    DeleteFileA(in.c_str());
    DeleteFileA(out.c_str());
    return result;
}

std::string other(const std::string& arch)
{
    return arches().size() < 2 ? arch : arch == "x64" ? "x86" : "x64";
}

// Duty by duty: true when it was done.
std::map<std::string, bool> examine(const kind& which, const subject& what)
{
    std::map<std::string, bool> done;
    const std::vector<uint8_t> state = state_of(which, what);
    {
        const uint32_t mask = what.in == 1 ? 0x4 : 0x3;
        const Nv::streamFormat wanted{44100, what.in, mask, what.in, mask};
        worker with(module(which, what.name));
        const Nv::streamFormat reply = open_stream(with, wanted, state);
        done["format"] =
            reply.sampleRate == 44100 && reply.inChannels == what.in && reply.outChannels == what.out;
        REQUIRE(done["format"]);
        const std::vector<double> in = ramp(what.in * 3000);
        const processed heard = with.process(in, what.in, what.out);
        bool right = heard.audio.size() == 3000 * what.out;
        for (size_t i = 0; right && what.level && i < heard.audio.size(); ++i)
            right = heard.audio[i] == *what.level * in[i / what.out * what.in + i % what.out % what.in];
        done["sound"] = right;
        done["latency"] = heard.latency == what.latency;
        const size_t tail = with.drain().size() / what.in;
        done["tail"] = tail >= what.tail.first && tail <= what.tail.second;
        with.break_pipe();
        done["end"] = with.wait() == 0 && std::ranges::count(with.errors(), '\n') == 1;
    }
    const probed first = probe(which, module(which, what.name).vst, state);
    const kind others{other(which.arch), which.version};
    const probed second = probe(others, module(others, what.name).vst, first.state);
    done["state"] = !first.state.empty() && first.state == state;
    done["other bits"] = second.state == first.state;
    // A machine under load gets a second chance.
    done["probe"] = std::min(first.took, second.took) < std::chrono::seconds(2) &&
                    first.record.find("\"buses\"") != std::string::npos;
    return done;
}

void print(const table& results)
{
    std::printf("\nformat/bits that did each duty%s\n%-40s", test_options::long_run() ? "" : " (--long: all)",
                "");
    for (const char* const duty : duties)
        std::printf(" %-20s", duty);
    for (const auto& [name, row] : results) {
        std::printf("\n%-40s", name.c_str());
        for (const char* const duty : duties)
            std::printf(" %-20s", row.at(duty).c_str());
    }
    std::printf("\n\n");
    std::fflush(stdout);
}

void examine_all(int version)
{
    table results;
    for (const subject& what : subjects) {
        const std::string name = what.name;
        CAPTURE(name);
        const auto one = [&](const kind& which) {
            if (which.version != version || (what.only_version != 0 && what.only_version != version))
                return;
            const std::map<std::string, bool> done = examine(which, what);
            for (const char* const duty : duties) {
                const std::string missed = done.at(duty) ? "" : duty;
                CHECK(missed == "");
                std::string& cell = results[what.name][duty];
                if (done.at(duty))
                    cell += (cell.empty() ? "" : " ") + std::to_string(which.version) +
                            (which.arch == "x64" ? "/64" : "/32");
            }
        };
        for_some_kinds([&](const kind& which) {
            const std::string arch = which.arch;
            CAPTURE(arch);
            CAPTURE(which.version);
            one(which);
        });
    }
    print(results);
}

} // namespace

TEST_CASE("every duty towards every VST 3 module, in every build")
{
    examine_all(3);
}

TEST_CASE("every duty towards every VST 2 module, in every build")
{
    examine_all(2);
}

TEST_CASE("a state that was saved by the sample effects comes back byte by byte, in either bitness")
{
    for (const std::string file : {"qvxGain.dll", "qvxGain.vst3", "qvxEcho.dll", "qvxEcho.vst3"}) {
        CAPTURE(file);
        const int version = file.ends_with(".vst3") ? 3 : 2;
        std::vector<uint8_t> state; // none at first: the defaults
        if (file == "qvxGain.vst3")
            state = read_file(dist() + "\\effects\\states\\gain-unity.vstpreset");
        std::vector<std::vector<uint8_t>> saved;
        for (const std::string& arch : {arches()[0], other(arches()[0]), arches()[0]}) {
            saved.push_back(probe({arch, version}, effect_path(arch, file), state).state);
            state = saved.back();
        }
        CHECK(!saved[0].empty());
        CHECK(saved[0] == saved[1]);
        CHECK(saved[1] == saved[2]);
    }
}

TEST_CASE("an edit of the controller reaches the component before its state is saved and with the next block")
{
    const std::string name = "module_whose_controller_edits";
    for (const std::string& arch : arches()) {
        CAPTURE(arch);
        const kind which{arch, 3};
        const launch how = module(which, name);
        CHECK(probe(which, how.vst, level_state(which, name, 0.5)).state == level_state(which, name, 0.25));
        worker with(how);
        REQUIRE(open_stream(with, stereo, level_state(which, name, 0.5)) == stereo);
        const std::vector<double> in = ramp(2 * 100);
        const std::vector<double> out = with.process(in, 2).audio;
        CHECK(out[0] == 0.25 * in[0]);
    }
}

TEST_CASE("meters reach the controller while the sound plays, and what it answers reaches the sound")
{
    for (const std::string& arch : arches()) {
        CAPTURE(arch);
        worker with(module({arch, 3}, "module_whose_controller_follows_a_meter"));
        REQUIRE(open_stream(with, stereo) == stereo);
        const std::vector<double> in = ramp(2 * 100);
        CHECK(with.process(in, 2).audio == in);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        bool turned = false;
        while (!turned && std::chrono::steady_clock::now() < limit)
            turned = with.process(in, 2).audio[0] == 0.25 * in[0];
        CHECK(turned);
    }
}

TEST_CASE("a probe says when a state file cannot be read or written, and of a state that does not fit")
{
    const std::string module_path = module({arches()[0], 3}, "module_that_passes_through").vst;
    const auto run = [&](const std::string& option, const std::string& file, uint32_t code,
                         const char* words) {
        worker with(arches()[0], {"probe", "--vst", module_path, "--vst-version", "3", option, file});
        CHECK(with.wait() == code);
        const std::string said = with.errors();
        CAPTURE(said);
        CHECK(said.find(words) != std::string::npos);
    };
    run("--state", temporary("absent"), 22, "cannot read the state file");
    run("--save-state", temporary("absent") + "\\x", 22, "cannot write the state file");
    const std::string text = temporary("text");
    write_file(text, {'t', 'e', 'x', 't'});
    run("--state", text, 0, "the effect's state cannot be used");
    DeleteFileA(text.c_str());
}

TEST_CASE("a probe of a module that hangs while it is loaded is ended by the watchdog")
{
    for_some_kinds([](const kind& which) {
        worker with(which.arch,
                    {"probe", "--vst", module(which, "module_that_hangs_in_entry").vst, "--vst-version",
                     std::to_string(which.version)},
                    {{"QVX_VSTHOST_WATCHDOG_MS", "500"}});
        CHECK(with.wait(5000) == 18);
        CHECK(with.output().empty());
        CHECK(with.errors().find("the effect did not return from ") == 0);
    });
}
