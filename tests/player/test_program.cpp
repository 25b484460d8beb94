// The program as people run it, with the real component: exit codes, the last line of standard error, what is
// left on the disk.

#include "player/system/whole_file.h"
#include "player/wav/wav_file.h"
#include "run_program.h"

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include <cmath>

using namespace player;

namespace {

struct refusal {
    strings arguments;
    std::string line; // a part of the last one
    unsigned exit_code = 1;
};

struct program_fixture : player_fixture {
    program_fixture()
    {
        write_wav("in.wav", {sample_type::int16, 44100, 2, 3}, 5000);
        folder.write("text.txt", {'t', 'e', 'x', 't'});
        folder.write("pass.preset", {}); // no effect: sound passes
    }
    void write_wav(const std::string& name, const wav_format& format, size_t frames) const
    {
        std::vector<double> samples(frames * format.channels);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = std::sin(static_cast<double>(i) * 0.11);
        wav_writer writer(folder.path(name));
        writer.begin(format);
        writer.write(samples.data(), frames);
        writer.finish();
    }
    std::vector<uint8_t> bytes(const std::string& name) const
    {
        return read_whole_file(folder.path(name), 100 << 20).value_or(std::vector<uint8_t>());
    }
    // None of them leaves a file.
    void check_refused(const std::vector<refusal>& rows) const
    {
        const auto files_before = folder.file_count();
        for (const refusal& each : rows) {
            CAPTURE(each.line);
            const program_result result = run(each.arguments);
            CAPTURE(result.err);
            CHECK(result.exit_code == each.exit_code);
            CHECK(result.out.empty());
            CHECK(result.last_line().starts_with("qvxplayer: "));
            CHECK(result.last_line().find(each.line) != std::string::npos);
            CHECK(folder.file_count() == files_before);
        }
    }
};

} // namespace

TEST_CASE("program: sound passes through a DSP without an effect byte for byte, in every sample type")
{
    const program_fixture test;
    const std::string in = test.folder.path("x.wav"), out = test.folder.path("y.wav");
    const wav_format formats[] = {
        {sample_type::int8, 8000, 1, 4},          {sample_type::int16, 44100, 2, 3},
        {sample_type::int24, 48000, 6, 0x3F},     {sample_type::int32, 96000, 2, 3},
        {sample_type::float32, 192000, 8, 0x63F}, {sample_type::float64, 44100, 2, 3}};
    for (const wav_format& format : formats) {
        CAPTURE(sample_type_name(format.type));
        test.write_wav("x.wav", format, 5001);
        const program_result result =
            test.run({"render", in, out, "--preset", test.folder.path("pass.preset"), "--json"});
        CAPTURE(result.err);
        REQUIRE(result.exit_code == 0);
        CHECK(result.err.empty());
        CHECK(test.bytes("x.wav") == test.bytes("y.wav"));
        const auto json = nlohmann::json::parse(result.out);
        CHECK(json["input"] == json["output"]);
        CHECK(json["output"]["frames"] == 5001);
        CHECK(json["output"]["mask"] == format.mask);
        CHECK(json.size() == 6);
    }
}

TEST_CASE("program: bad input ends with one line that names the file, code 1, and nothing on the disk")
{
    const program_fixture test;
    const auto in = [&](const char* name) { return test.folder.path(name); };
    auto truncated = test.bytes("in.wav");
    truncated.resize(1000);
    test.folder.write("short.wav", truncated);
    const std::string gain = shipped_effect("qvxGain.vst3", "x64");
    CHECK(test.run({"preset", gain, in("wrong.preset"), "--state", in("text.txt")}).exit_code == 0);
    const auto render = [&](const char* from, const char* to, const strings& more = {}) {
        return with({"render", in(from), in(to)}, more);
    };
    test.check_refused({
        {render("none.wav", "out.wav"), "none.wav: cannot be opened"},
        {render("text.txt", "out.wav"), "text.txt: is not a WAV file"},
        {render("short.wav", "out.wav"), "short.wav: is truncated"},
        {render("in.wav", "no\\out.wav"), "no\\out.wav: cannot be written"},
        {render("in.wav", "in.wav"), "in.wav: is also read by this run"},
        {{"gui", in("in.wav"), "--capture", in("in.wav")}, "in.wav: is also read by this run"},
        {render("in.wav", "out.wav", {"--effect", in("none.dll")}), "none.dll: "},
        {render("in.wav", "out.wav", {"--effect", in("text.txt")}), "text.txt: "},
        {render("in.wav", "out.wav", {"--effect", shipped("qvxplayer.exe")}), "qvxplayer.exe: "},
        // A DLL, but no plug-in.
        {render("in.wav", "out.wav", {"--effect", shipped("qvx_dsp_vst3.dll")}), "qvx_dsp_vst3.dll: "},
        {render("in.wav", "out.wav", {"--preset", in("text.txt")}), "text.txt: Unsupported format"},
        {render("in.wav", "out.wav", {"--quiet", "--effect", gain, "--state", in("text.txt")}),
         "text.txt: holds no state that the effect takes: it is not a VST 3 preset; save it anew"},
        {render(
             "in.wav", "out.wav",
             {"--effect", shipped_effect("qvxGain.dll", "x86"), "--state", in("text.txt"), "--effect", gain}),
         "text.txt: holds no state that the effect takes: it is not the state of a VST 2 effect"},
        {render("in.wav", "out.wav", {"--preset", in("wrong.preset")}),
         "wrong.preset: holds no state that the effect takes"},
        {render("in.wav", "out.wav", {"--component", in("none.dll")}), "none.dll: the component is missing"},
        {{"services", "--component", in("text.txt")}, "text.txt: "},
        {{"preset", in("none.dll"), in("no\\out.preset")}, "no\\out.preset: cannot be written"},
        {{"preset", in("none.dll"), in("out.preset")}, "none.dll: does not exist"},
        {{"preset", gain, in("in.wav")}, "in.wav: is no preset"},
        {{"preset", "--show", in("none")}, "none: there is no such preset file"},
        {{"preset", "--show", in("text.txt")}, "text.txt: Unsupported format"},
        {{"rendr"}, "unknown command rendr; did you mean render?", 2},
        {{"settings", "process-tail=on", "nonsense=1"}, "unknown setting \"nonsense\"", 2},
        {{"settings", "process-tail=on", "feed-live=maybe"}, "\"maybe\" is no value for feed-live", 2},
    });
}

TEST_CASE("program: settings survive a restart; presets are shown as they were stored")
{
    const program_fixture test;
    const program_result set = test.run({"settings", "process-tail=on", "folders=C:\\A\\X\\..;C:/B"});
    CHECK(set.out == "process-tail=on\nfolders=C:\\A;C:\\B\n");
    CHECK(set.last_line().find("C:\\A, C:\\B: is no folder") != std::string::npos);
    const auto settings = nlohmann::json::parse(test.run({"settings", "--json"}).out);
    CHECK(settings == nlohmann::json::parse(R"({"dpi-aware": false, "feed-live": true, "process-tail": true,
        "folders": ["C:\\A", "C:\\B"], "disabled-folders": []})"));

    // The oldest layout: name, path, version, machine, state.
    const std::string_view old("Reverb\0C:\\r.vst3\0003\0002\0\xAB\x01", 23);
    test.folder.write("old.preset", {old.begin(), old.end()});
    const program_result shown = test.run({"preset", "--show", test.folder.path("old.preset"), "--json"});
    CAPTURE(shown.err);
    REQUIRE(shown.exit_code == 0);
    CHECK(nlohmann::json::parse(shown.out) == nlohmann::json::parse(R"json({
        "displayName": "Reverb (VST v3, 64-bit)", "name": "Reverb", "path": "C:\\r.vst3", "arch": "x64",
        "vstVersion": 3, "flags": 0, "outputChannelMask": 0, "state": "ab01"})json"));
}
