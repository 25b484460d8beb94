// Modules that behave as their names say, VST 2 and VST 3, in workers of both bitnesses, and the sample
// effects.

#include "vsthost/exit_codes.h"
#include "vsthost/module_cases.h"

#include <algorithm>

using namespace module_cases;
using vsthost::exit_code;

namespace {

// A conversation with each module that does something in one of these calls.
void misbehave(const std::string& does, const std::pair<std::string, std::string>& setting,
               const std::vector<std::string>& calls, uint32_t code, const std::string& words)
{
    for_some_kinds([&](const kind& which) {
        for (const std::string& call : calls) {
            const std::string name = "module_that_" + does + "_in_" + call;
            CAPTURE(name);
            launch how = module(which, name);
            how.environment.insert(setting);
            worker with(how);
            try {
                open_stream(with, stereo, level_state(which, name, 0.5));
                with.process(ramp(200), 2);
                with.drain();
            } catch (const driver_error&) {
                // The pipe broke, as it should.
            }
            CHECK(with.wait() == code);
            const std::string said = with.errors();
            CAPTURE(said);
            CHECK(said.find(words) != std::string::npos);
        }
    });
}

} // namespace

TEST_CASE(
    "layouts from mono to 7.1 keep their channels in order; states are taken over, or reported and left")
{
    constexpr std::pair<uint32_t, uint32_t> layouts[] = {{1, 0x4},  {2, 0x3},  {3, 0x7},   {4, 0x33},
                                                         {5, 0x37}, {6, 0x3F}, {6, 0x60F}, {8, 0x63F},
                                                         {1, 0},    {6, 0}};
    for_each_kind([&](const kind& which) {
        const bool vst3 = which.version == 3;
        worker with(
            {which.arch, effect_path(which.arch, vst3 ? "qvxGain.vst3" : "qvxGain.dll"), which.version});
        for (const auto& layout : layouts) {
            const uint32_t channels = layout.first, mask = layout.second;
            CAPTURE(channels);
            CAPTURE(mask);
            const Nv::streamFormat reply = open_stream(with, {48000, channels, mask, channels, mask});
            CHECK(reply.sampleRate == 48000);
            CHECK(reply.inChannels == channels);
            REQUIRE(reply.outChannels == channels);
            const std::vector<double> in = ramp(size_t{channels} * 1500);
            CHECK(with.process(in, channels).audio == times(0.5, in));
        }
        const auto unity =
            read_file(dist() + "\\effects\\states\\gain-unity." + (vst3 ? "vstpreset" : "fxp"));
        auto truncated = unity, foreign = unity;
        truncated.resize(unity.size() - 5);
        foreign[vst3 ? 12 : 18] ^= 1;
        // Without any: the defaults as well, and nothing to report.
        for (const auto& state : {truncated, foreign, std::vector<uint8_t>()}) {
            open_stream(with, stereo, unity);
            CHECK(with.process(ramp(3000), 2).audio == ramp(3000));
            open_stream(with, stereo, state);
            CHECK(with.process(ramp(3000), 2).audio == times(0.5, ramp(3000)));
        }
        const std::string said = said_by(with);
        CHECK(said.find("truncated") != std::string::npos);
        CHECK(said.find("belongs to another effect") != std::string::npos);
        CHECK(std::ranges::count(said, '\n') == 3);
    });
}

TEST_CASE("layouts that an effect cannot serve are answered with its own counts and said")
{
    struct row {
        const char* name;
        int version;
        uint32_t in;
        uint32_t out;
        const char* words;
    };
    const row rows[] = {
        {"module_that_is_mono_only", 0, 1, 1, "it takes 1 in, 1 out"},
        {"module_with_mono_buses", 3, 1, 1, "it takes 1 in, 1 out"},
        {"module_with_a_side_chain", 2, 4, 2, "it takes 4 in, 2 out"},
        {"module_with_40_channels", 0, 40, 40,
         "it takes 40 in, 40 out, and no player has more than 32 inputs"},
        {"module_that_is_an_instrument", 0, 0, 2, "it has no audio input (an instrument?)"},
        {"module_without_audio", 0, 0, 0, "it has no audio input and output"},
    };
    constexpr Nv::streamFormat six{44100, 6, 0x3F, 6, 0x3F};
    for_each_kind([&](const kind& which) {
        for (const row& each : rows) {
            if (each.version != 0 && each.version != which.version)
                continue;
            const std::string name = each.name;
            CAPTURE(name);
            worker with(module(which, name));
            // More than any of them has, or stereo where they have less.
            const Nv::streamFormat asked = each.version == 0 ? stereo : six;
            const Nv::streamFormat reply = open_stream(with, asked);
            CHECK(reply.sampleRate == 44100);
            CHECK(reply.inChannels == each.in);
            CHECK(reply.outChannels == each.out);
            if (each.in == 1) {
                const Nv::streamFormat mono{44100, 1, 0x4, 1, 0x4};
                CHECK(with.set_format(mono) == mono);
                CHECK(with.process(ramp(3000), 1).audio == ramp(3000));
            }
            CHECK(said_by(with).find(each.words) != std::string::npos);
        }
    });
}

TEST_CASE("latency follows the effect at run time, and calls from a thread of its own are served")
{
    for_each_kind([](const kind& which) {
        worker busy(module(which, "module_that_calls_back_from_its_own_thread"));
        REQUIRE(open_stream(busy, stereo) == stereo);
        for (int i = 0; i < 50; ++i)
            CHECK(busy.process(ramp(2 * 441), 2).audio.size() == 2 * 441);
        CHECK(std::ranges::count(said_by(busy), '\n') == 1);

        worker changing(module(which, "module_that_changes_its_latency"));
        open_stream(changing, stereo);
        CHECK(changing.process(ramp(2 * 10000), 2).latency == 100);
        changing.process(ramp(2 * 10000), 2);
        CHECK(changing.process(ramp(2 * 10000), 2).latency == 1000);
    });
}

TEST_CASE("an effect that says in its set-up that its buses changed is set up once")
{
    worker with(module({arches()[0], 3}, "module_that_is_never_settled"));
    REQUIRE(open_stream(with, stereo) == stereo);
    const std::vector<double> first = with.process(ramp(200), 2).audio;
    with.process(ramp(200), 2);
    CHECK(with.process(ramp(200), 2).audio == first);
}

TEST_CASE("what is no number and what fails becomes silence, and is said once")
{
    for_each_kind([](const kind& which) {
        worker nan(module(which, "module_that_puts_out_nan"));
        open_stream(nan, stereo);
        const std::vector<double> in = ramp(2 * 5000);
        const std::vector<double> out = nan.process(in, 2).audio;
        for (size_t i = 0; i < out.size(); ++i)
            if (out[i] != (i / 2 % 100 < 2 ? 0.0 : in[i]))
                FAIL("sample ", i);
        nan.process(in, 2);
        const std::string said = said_by(nan);
        CHECK(said.find("no numbers") != std::string::npos);
        CHECK(said.find("no numbers") == said.rfind("no numbers"));

        if (which.version == 3) {
            worker failing(module(which, "module_that_fails_to_process"));
            open_stream(failing, stereo);
            const std::vector<double> silent = failing.process(ramp(2 * 200000), 2).audio;
            CHECK(std::ranges::count(silent, 0.0) == 2 * 200000);
            CHECK(said_by(failing).find("fails to process") != std::string::npos);
        }
    });
}

TEST_CASE("the state of one class among many")
{
    for_each_kind([](const kind& which) {
        const std::vector<double> in = ramp(2000);
        // Class n multiplies by n / 64; without a state the first is used. For VST 2 the module is a shell.
        worker many(module(which, "module_with_34_classes"));
        open_stream(many, stereo);
        CHECK(many.process(in, 2).audio == times(1.0 / 64, in));
        for (const uint32_t number : {32u, 2u, 34u}) {
            const std::string name = "Class " + std::to_string(number);
            open_stream(many, stereo, level_state(which, name, 1.0, 12, number));
            CHECK(many.process(in, 2).audio == times(number / 64.0, in));
        }
        open_stream(many, stereo);
        CHECK(many.process(in, 2).audio == times(1.0 / 64, in));
        CHECK(said_by(many).find("Class 1 by qvx") != std::string::npos);
    });
}

TEST_CASE("modules that refuse to work end the worker with a line")
{
    for_some_kinds([](const kind& which) {
        for (const auto& [name, code] : {std::pair{"module_without_an_effect", exit_code::no_effect},
                                         {"module_without_classes", exit_code::no_effect},
                                         {"module_with_300_channels", exit_code::no_effect},
                                         {"module_that_fails_to_open", exit_code::effect_failed}}) {
            const std::string shown = name;
            // Opening has no agreed answer in VST 2; a VST 3 arrangement has 64 speakers at most.
            if (shown == (which.version == 2 ? "module_that_fails_to_open" : "module_with_300_channels"))
                continue;
            CAPTURE(shown);
            worker with(module(which, shown));
            CHECK(with.wait() == static_cast<uint32_t>(code));
            CHECK(with.errors().find(shown) != std::string::npos);
        }
    });
}

TEST_CASE("a crash in any call is a line with its place, and the exception's code")
{
    misbehave(
        "crashes", {"QVX_VSTHOST_MINIDUMP_MS", "0"},
        {"entry", "create", "open", "layout", "prepare", "start", "process", "restore", "latency", "tail"},
        access_violation, "the effect crashed: access violation (0xC0000005) in module_that_crashes");
}

TEST_CASE("a call that hangs is ended by the watchdog, named, with its code")
{
    const std::pair<std::string, std::string> soon{"QVX_VSTHOST_WATCHDOG_MS", "300"};
    constexpr auto code = static_cast<uint32_t>(exit_code::effect_hangs);
    std::vector<std::string> calls{"attach", "open", "process", "restore"};
    if (test_options::long_run())
        calls.insert(calls.end(), {"entry", "create", "layout", "prepare", "start", "latency", "tail"});
    misbehave("hangs", soon, calls, code, "the effect did not return from ");
    for_some_kinds([&](const kind& which) {
        worker loading = probe(which, "module_that_hangs_in_entry", {soon});
        CHECK(loading.wait() == code);
        CHECK(loading.errors().find("the effect did not return from ") != std::string::npos);
    });
}

TEST_CASE("a broken pipe ends the worker at once, whatever is stuck")
{
    for_some_kinds([](const kind& which) {
        for (const std::string call : {"open", "process"}) {
            const std::string name = "module_that_hangs_in_" + call;
            CAPTURE(name);
            worker with(module(which, name));
            with.set_state({});
            if (call == "process") {
                with.set_format(stereo);
                const std::vector<double> audio = ramp(200);
                with.send(Nv::cmdProcess, audio.data(), audio.size() * sizeof(double));
            } else {
                // Sent ahead, as the component does: the end is seen behind it all the same.
                with.send(Nv::cmdSetFormat, &stereo, sizeof stereo);
            }
            with.break_pipe();
            CHECK(with.wait(5000) == 0);
        }
    });
}

TEST_CASE("a probe prints what a module holds")
{
    for_each_kind([](const kind& which) {
        worker late = probe(which, "module_with_48000_samples_of_latency");
        CHECK(late.wait() == 0);
        const std::string said = late.output();
        CAPTURE(said);
        for (const char* const part :
             {"\"name\": \"module_with_48000_samples_of_la", "\"vendor\": \"qvx\"",
              "\"input\": {\"channels\": 2, \"mask\": 3}", "\"latencySamples\": 48000", "\"float64\": true",
              "\"name\": \"Level\""})
            CHECK(said.find(part) != std::string::npos);
        CHECK(late.errors().empty());

        worker many = probe(which, "module_with_34_classes");
        CHECK(many.wait() == 0);
        CHECK(many.output().find("\"Class 34\"") != std::string::npos);
    });
}
