// The shipped player's configure command, with its dialog driven from here.

#include "catalogue/vstConfig.h"
#include "player/system/whole_file.h"
#include "run_program.h"
#include "sdk/dsp_preset_impl.h"

#include <doctest/doctest.h>

#include <future>

using namespace player;

namespace {

constexpr int format_box = 1010;

HWND wait_for_chooser()
{
    for (int i = 0; i < 2000; ++i) {
        const HWND found = FindWindowW(nullptr, L"VST Effect Configuration");
        if (found && IsWindowVisible(found) &&
            SendDlgItemMessageW(found, format_box, CB_GETCURSEL, 0, 0) != CB_ERR)
            return found;
        Sleep(10);
    }
    return nullptr;
}

// Chooses the data format (-1: nothing), closes the dialog, and says how the program ended.
program_result configured(const std::vector<std::string>& arguments, int format)
{
    auto result = std::async(std::launch::async,
                             [&] { return run_program(dist_folder() + "\\qvxplayer.exe", arguments); });
    if (const HWND dialog = wait_for_chooser()) {
        if (format >= 0) {
            SendDlgItemMessageW(dialog, format_box, CB_SETCURSEL, static_cast<WPARAM>(format), 0);
            SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(format_box, CBN_SELCHANGE),
                         reinterpret_cast<LPARAM>(GetDlgItem(dialog, format_box)));
        }
        PostMessageW(dialog, WM_CLOSE, 0, 0);
    }
    return result.get();
}

vstConfig_t read_preset(const std::string& file)
{
    const auto bytes = read_whole_file(file, 1 << 20);
    REQUIRE(bytes);
    dsp_preset_impl preset;
    preset.set_owner(vstPresetOwner);
    preset.set_data(bytes->data(), bytes->size());
    return vstConfigFromPreset(preset);
}

} // namespace

TEST_CASE("configure: a preset is made from an effect, changed, and left alone")
{
    const temp_folder folder;
    const std::string file = folder.path("a.preset"), config = "--config=" + folder.path("config.json");
    const std::string effect = dist_folder() + "\\..\\effects\\x64\\qvxGain.vst3";

    const auto made = configured({"configure", "--effect", effect, "--preset", file, config}, 1);
    CHECK(made.exit_code == 0);
    CHECK(made.out.find("64-bit floating-point") != std::string::npos);
    CHECK(read_preset(file).flags == vstFlagFloat64);
    CHECK(configured({"configure", "--preset", file, config, "--json"}, 0).out.find("\"flags\":0") !=
          std::string::npos);
    CHECK(read_preset(file).flags == 0);

    for (const auto& [arguments, words] :
         {std::pair{std::vector{std::string("--preset"), folder.path("none")}, "none"},
          std::pair{std::vector{std::string("--effect"), file}, "a.preset"}}) {
        auto all = arguments;
        all.insert(all.begin(), {"configure", config});
        const program_result refused = run_program(dist_folder() + "\\qvxplayer.exe", all);
        CHECK(refused.exit_code == 1);
        CHECK(refused.last_line().find(words) != std::string::npos);
    }
}
