// Each module against each duty of a worker, in every build.

#include "support/temp_folder.h"
#include "vsthost/module_cases.h"

#include <algorithm>
#include <chrono>
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

struct probed {
    std::vector<uint8_t> state;
    std::string record;
};

probed probe(const kind& which, const std::string& module, const std::vector<uint8_t>& state)
{
    const temp_folder folder;
    folder.write("in", state);
    worker with(which.arch, {"probe", "--vst", module, "--vst-version", std::to_string(which.version),
                             "--state", folder.path("in"), "--save-state", folder.path("out")});
    CHECK(with.wait() == 0);
    CHECK(with.errors() == "");
    return {read_file(folder.path("out")), with.output()};
}

std::string other(const std::string& arch)
{
    return arches().size() < 2 ? arch : arch == "x64" ? "x86" : "x64";
}

void examine(const kind& which, const subject& what)
{
    const std::string arch = which.arch;
    CAPTURE(arch);
    CAPTURE(which.version);
    const std::vector<uint8_t> state = state_of(which, what);
    const uint32_t mask = what.in == 1 ? 0x4 : 0x3;
    launch how = module(which, what.name);
    how.float64 = true;
    worker with(how);
    const Nv::streamFormat reply = open_stream(with, {44100, what.in, mask, what.in, mask}, state);
    CHECK(reply.sampleRate == 44100);
    CHECK(reply.inChannels == what.in);
    REQUIRE(reply.outChannels == what.out);
    const std::vector<double> in = ramp(what.in * 3000);
    const processed heard = with.process(in, what.in, what.out);
    size_t wrong = 0;
    for (size_t i = 0; what.level && i < heard.audio.size(); ++i)
        wrong += heard.audio[i] != *what.level * in[i / what.out * what.in + i % what.out % what.in];
    CHECK(wrong == 0);
    CHECK(heard.latency == what.latency);
    const size_t tail = with.drain().size() / what.in;
    CHECK(tail >= what.tail.first);
    CHECK(tail <= what.tail.second);
    const std::string said = said_by(with);
    CAPTURE(said);
    CHECK(std::ranges::count(said, '\n') == 1);
    CHECK(said.starts_with("qvxVSTHost" + std::string(arch == "x64" ? "64 " : "32 ")));
    const bool shell = what.name == "module_with_34_classes";
    CHECK(said.find(": " + (shell ? "Class" : what.name.substr(0, 30))) != std::string::npos);
    CHECK((said.find("64-bit samples") != std::string::npos) == (what.name != "module_without_64_bit"));

    const probed first = probe(which, module(which, what.name).vst, state);
    const kind others{other(arch), which.version};
    CHECK(first.state == state);
    CHECK(first.record.find("\"buses\"") != std::string::npos);
    CHECK(probe(others, module(others, what.name).vst, first.state).state == state);
}

void examine_all(int version)
{
    for (const subject& what : subjects) {
        const std::string name = what.name;
        CAPTURE(name);
        for_some_kinds([&](const kind& which) {
            if (which.version == version && (what.only_version == 0 || what.only_version == version))
                examine(which, what);
        });
    }
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

TEST_CASE("a state that was saved by the sample effects comes back byte by byte, in the other bitness")
{
    const std::string arch = arches()[0];
    for (const std::string file : {"qvxGain.dll", "qvxGain.vst3", "qvxEcho.dll", "qvxEcho.vst3"}) {
        CAPTURE(file);
        const int version = file.ends_with(".vst3") ? 3 : 2;
        const auto saved = probe({arch, version}, effect_path(arch, file), std::vector<uint8_t>()).state;
        CHECK(!saved.empty());
        CHECK(probe({other(arch), version}, effect_path(other(arch), file), saved).state == saved);
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

TEST_CASE(
    "meters reach the controller while the sound plays, and what it answers the sound; so do idle calls")
{
    for_each_kind([](const kind& which) {
        worker with(module(which, which.version == 3 ? "module_whose_controller_follows_a_meter"
                                                     : "module_that_wants_idle_calls"));
        REQUIRE(open_stream(with, stereo) == stereo);
        const std::vector<double> in = ramp(2 * 100);
        CHECK(with.process(in, 2).audio == in);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        bool turned = false;
        while (!turned && std::chrono::steady_clock::now() < limit)
            turned = with.process(in, 2).audio[0] == 0.25 * in[0];
        CHECK(turned);
    });
}

TEST_CASE("a probe says when a state file cannot be read or written, and of a state that does not fit")
{
    const temp_folder folder;
    folder.write("text", {'t', 'e', 'x', 't'});
    struct row {
        const char *option, *file;
        uint32_t code;
        const char* words;
    };
    for (const row& each : {row{"--state", "absent", 22, "cannot read the state file"},
                            {"--save-state", "absent\\x", 22, "cannot write the state file"},
                            {"--save-state", "", 22, "is a folder"},
                            {"--state", "text", 0, "the effect's state cannot be used"}}) {
        CAPTURE(each.words);
        worker with(arches()[0],
                    {"probe", "--vst", module({arches()[0], 3}, "module_that_passes_through").vst,
                     "--vst-version", "3", each.option, folder.path(each.file)});
        CHECK(with.wait() == each.code);
        CHECK(with.errors().find(each.words) != std::string::npos);
    }
}

TEST_CASE("an effect that fails to give its state does not take away the one that it was given")
{
    for (const std::string& arch : arches()) {
        const std::string name = "module_that_fails_to_save";
        const temp_folder folder;
        const std::vector<uint8_t> given = level_state({arch, 3}, name, 0.25);
        folder.write("given", given);
        worker with(arch, {"probe", "--vst", module({arch, 3}, name).vst, "--state", folder.path("given"),
                           "--save-state", folder.path("kept")});
        CHECK(with.wait() == 0);
        CHECK(read_file(folder.path("kept")) == given);
        CHECK(with.errors().find("does not give its state") != std::string::npos);
    }
}
