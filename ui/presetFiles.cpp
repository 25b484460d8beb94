#include "ui/presetFiles.h"

#include "sdk/abort_callback_impl.h"
#include "sdk/exceptions.h"
#include "sdk/filesystem.h"
#include "sdk/shell.h"
#include "ui/openFile.h"
#include "win/long_path.h"
#include "worker/failureText.h"
#include "worker/pipeName.h"

#include <windows.h>

#include <algorithm>
#include <exception>

namespace {

constexpr const char* filter = "VST presets|*.vstpreset";
constexpr const char* extension = "vstpreset";

// The size a file tells is not relied on: it may not be known, or change.
std::vector<uint8_t> readPreset(const std::string& path)
{
    constexpr size_t piece = 0x10000;
    const auto source = openFile(path, filesystem::open_mode::read);
    std::vector<uint8_t> bytes;
    for (;;) {
        const size_t before = bytes.size();
        bytes.resize(before + piece);
        const size_t got = source->read(bytes.data() + before, piece, abort_callback_never());
        bytes.resize(before + std::min(got, piece));
        if (bytes.size() > presetSizeLimit)
            throw exception_io_data();
        if (got < piece)
            return bytes;
    }
}

void overwrite(const std::string& path, const std::vector<uint8_t>& bytes)
{
    openFile(path, filesystem::open_mode::write)->write(bytes.data(), bytes.size(), abort_callback_never());
}

// Opening for writing empties a file, so the bytes are first written beside it, under a name that no file of
// the user's has: when they do not fit, the preset that was there stays.
void writePreset(const std::string& path, const std::vector<uint8_t>& bytes)
{
    const std::string fresh =
        path.substr(0, path.find_last_of("\\/") + 1) + Nv::makeGuidText() + ".vstpreset.new";
    const std::wstring from = win::long_path(native_path(fresh)), to = win::long_path(native_path(path));
    try {
        overwrite(fresh, bytes);
        if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING))
            return;
    } catch (const exception_io_denied&) {
        // Perhaps no more than new files are forbidden there.
    } catch (...) {
        DeleteFileW(from.c_str());
        throw;
    }
    // Somebody has it open, or the player's files are none of the system's.
    DeleteFileW(from.c_str());
    overwrite(path, bytes);
}

// The window may be gone by the time there is something to tell.
void showFailure(void* parentWindow, const std::string& text, const char* title)
{
    const HWND window = static_cast<HWND>(parentWindow);
    show_popup(IsWindow(window) ? window : nullptr, text, title, popup_kind::failure);
}

} // namespace

void loadPreset(void* parentWindow, const std::function<void(std::vector<uint8_t> state)>& take)
{
    try {
        const auto path =
            uGetOpenFileName(parentWindow, filter, extension, "Load VST preset", nullptr, false);
        if (path)
            take(readPreset(*path));
    } catch (const std::exception& failure) {
        showFailure(parentWindow, Nv::failureText(failure), "Preset loading failure");
    }
}

void savePreset(void* parentWindow, const std::vector<uint8_t>& state)
{
    constexpr const char* title = "Preset saving failure";
    if (state.empty()) {
        showFailure(parentWindow, "Configuration is empty", title);
        return;
    }
    try {
        // The caller's may change or go while the picker is open.
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
        const std::vector<uint8_t> bytes = state;
        const auto path = uGetOpenFileName(parentWindow, filter, extension, "Save VST preset", nullptr, true);
        if (path)
            writePreset(*path, bytes);
    } catch (const std::exception& failure) {
        showFailure(parentWindow, Nv::failureText(failure), title);
    }
}
