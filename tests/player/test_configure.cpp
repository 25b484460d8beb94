// The shipped player's configure command, with its dialog driven from here.

#include "catalogue/vstConfig.h"
#include "player/system/whole_file.h"
#include "run_program.h"
#include "sdk/dsp_preset_impl.h"
#include "support/wait_until.h"

#include <doctest/doctest.h>

#include <future>

namespace {

constexpr int format_box = 1010;

struct configure_fixture : player_fixture {
    // Chooses the data format, closes the dialog, and says how the program ended.
    program_result configured(const strings& options, WPARAM format) const
    {
        auto result = std::async(std::launch::async, [&] { return run(with({"configure"}, options)); });
        HWND dialog = nullptr;
        const auto is_ready = [&] {
            dialog = FindWindowW(nullptr, L"VST Effect Configuration");
            return dialog && IsWindowVisible(dialog) &&
                   SendDlgItemMessageW(dialog, format_box, CB_GETCURSEL, 0, 0) != CB_ERR;
        };
        wait_until(is_ready, 20, [] { Sleep(10); });
        SendDlgItemMessageW(dialog, format_box, CB_SETCURSEL, format, 0);
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(format_box, CBN_SELCHANGE),
                     reinterpret_cast<LPARAM>(GetDlgItem(dialog, format_box)));
        PostMessageW(dialog, WM_CLOSE, 0, 0);
        return result.get();
    }
    static uint32_t flags_in(const std::string& file)
    {
        const auto bytes = player::read_whole_file(file, 1 << 20).value();
        dsp_preset_impl preset;
        preset.set_owner(vstPresetOwner);
        preset.set_data(bytes.data(), bytes.size());
        return vstConfigFromPreset(preset).flags;
    }
};

} // namespace

TEST_CASE("configure: a preset is made from an effect, changed, and left alone")
{
    const configure_fixture test;
    const std::string file = test.folder.path("a.preset");
    const auto made =
        test.configured({"--effect", shipped_effect("qvxGain.vst3", "x64"), "--preset", file}, 1);
    CHECK(made.exit_code == 0);
    CHECK(made.out.find("64-bit floating-point") != std::string::npos);
    CHECK(test.flags_in(file) == vstFlagFloat64);
    CHECK(test.configured({"--preset", file, "--json"}, 0).out.find("\"flags\":0") != std::string::npos);
    CHECK(test.flags_in(file) == 0);

    test.folder.write("song.wav", std::vector<uint8_t>(500, 'x'));
    const std::string song = test.folder.path("song.wav"), gain = shipped_effect("qvxGain.vst3", "x64");
    // A preset whose state the effect refuses keeps it, instead of what the editor would begin with.
    const std::string wrong = test.folder.path("wrong.preset");
    REQUIRE(test.run({"preset", gain, wrong, "--state", song}).exit_code == 0);
    const auto before = player::read_whole_file(wrong, 1 << 20);
    // One of the effect is gone on with.
    const std::string kept = test.folder.path("kept.preset");
    REQUIRE(test.run({"preset", gain, kept, "--state", shipped_effect("gain-unity.vstpreset", "states")})
                .exit_code == 0);
    const auto unity_preset = player::read_whole_file(kept, 1 << 20);
    CHECK(test.configured({"--effect", gain, "--preset", kept}, 0).exit_code == 0);
    CHECK(player::read_whole_file(kept, 1 << 20) == unity_preset);
    const std::pair<strings, const char*> refusals[] = {
        {{"--preset", test.folder.path("none")}, "none"},
        {{"--effect", file}, "a.preset"},
        {{"--preset", song}, "song.wav: is no preset"},
        {{"--effect", gain, "--preset", song}, "song.wav: is no preset"},
        {{"--effect", shipped_effect("qvxEcho.vst3", "x64"), "--preset", file},
         "qvxGain.vst3 and would be overwritten; name another file"},
        {{"--effect", gain, "--state", song}, "song.wav: holds no state that the effect takes"},
        {{"--preset", wrong},
         "wrong.preset: holds no state that the effect takes: it is not a VST 3 preset"}};
    for (const auto& [options, words] : refusals) {
        const program_result refused = test.run(with({"configure"}, options));
        CHECK(refused.exit_code == 1);
        CHECK(refused.last_line().find(words) != std::string::npos);
    }
    CHECK(player::read_whole_file(wrong, 1 << 20) == before);
}
