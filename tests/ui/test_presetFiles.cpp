// Loading and saving presets: what is asked, read, written and told.

#include "ui/presetFiles.h"

#include "support/dialog_host.h"
#include "support/patched_import.h"
#include "support/temp_folder.h"

#include <doctest/doctest.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

using lines = std::vector<std::string>;

BOOL WINAPI no_rename(const wchar_t*, const wchar_t*, DWORD)
{
    return FALSE;
}

decltype(&WriteFile) real_write = nullptr;
int writes = 0;

// The disk is full for a moment.
BOOL WINAPI second_is_cut(HANDLE file, const void* bytes, DWORD size, DWORD* done, OVERLAPPED* more)
{
    const bool cut = ++writes == 2;
    const BOOL written = real_write(file, bytes, cut ? size / 2 : size, done, more);
    SetLastError(ERROR_DISK_FULL);
    return written && !cut;
}

} // namespace

TEST_CASE("a preset is loaded whole or not at all")
{
    dialog_host player;
    const temp_folder folder;
    folder.write("empty.vstpreset", {});
    folder.write("full.vstpreset", std::vector<uint8_t>(presetSizeLimit, 7));
    folder.write("over.vstpreset", std::vector<uint8_t>(presetSizeLimit + 1, 7));

    const std::string open = "open Load VST preset|VST presets|*.vstpreset|vstpreset";
    const std::string load_failure = "popup Preset loading failure: ";
    const std::string not_taken = "not taken";
    struct row {
        const char* file; // null: the user gives up
        std::string taken;
        lines shown;
        bool take_fails = false;
    };
    const row rows[] = {
        {nullptr, not_taken, {open}},
        {"empty.vstpreset", "0", {open}},
        {"full.vstpreset", "16777216", {open}},
        {"over.vstpreset", not_taken, {open, load_failure + "Unsupported format or corrupted file"}},
        {"missing.vstpreset", not_taken, {open, load_failure + "Object not found"}},
        {"empty.vstpreset", "0", {open, load_failure + "no"}, true},
    };
    for (const row& each : rows) {
        CAPTURE(each.file);
        player.shell->shown.clear();
        player.shell->answer.reset();
        if (each.file)
            player.shell->answer = folder.path(each.file);
        std::string taken = not_taken;
        loadPreset(nullptr, [&](const std::vector<uint8_t>& state) {
            taken = std::to_string(state.size());
            if (each.take_fails)
                throw std::runtime_error("no");
        });
        CHECK(taken == each.taken);
        CHECK(player.shell->shown == each.shown);
    }
    player.shell->answer = "nowhere://x";
    loadPreset(nullptr, [](const std::vector<uint8_t>&) {});
    CHECK(player.shell->shown.back() == load_failure + "Object not found");
}

TEST_CASE("a preset is saved as it is")
{
    dialog_host player;
    const temp_folder folder;
    folder.write("longer before", std::vector<uint8_t>(100, 7));
    const std::string target = folder.path("longer before");
    savePreset(nullptr, {});
    player.shell->answer.reset();
    savePreset(nullptr, {1});
    player.shell->answer = folder.path("no folder\\x.vstpreset");
    savePreset(nullptr, {1});
    player.shell->answer = target;
    std::vector<uint8_t> state = {0, 255, 10};
    player.shell->meanwhile = [&] { state.clear(); }; // the caller's record changes under the picker
    savePreset(nullptr, state);
    const std::string save = "save Save VST preset|VST presets|*.vstpreset|vstpreset";
    const std::string save_failure = "popup Preset saving failure: ";
    CHECK(player.shell->shown == lines{save_failure + "Configuration is empty", save, save,
                                       save_failure + "Object not found", save});
    const auto saved = [&] {
        std::ifstream written(target, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(written), {}) == std::string("\0\xff\n", 3);
    };
    CHECK(saved());

    // Where files can only be written over: the one that was there comes back.
    player.shell->meanwhile = nullptr;
    const patched_import rename("MoveFileExW", reinterpret_cast<void*>(&no_rename)),
        write("WriteFile", reinterpret_cast<void*>(&second_is_cut));
    real_write = write.original<decltype(&WriteFile)>();
    savePreset(nullptr, {1, 2});
    CHECK(player.shell->shown.back().starts_with(save_failure));
    CHECK(saved());
    CHECK(writes == 3);
}
