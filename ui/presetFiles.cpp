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
std::vector<uint8_t> readAll(const std::string& path, uint64_t limit)
{
    constexpr size_t piece = 0x10000;
    const auto source = openFile(path, filesystem::open_mode::read);
    std::vector<uint8_t> bytes;
    for (;;) {
        const size_t before = bytes.size();
        bytes.resize(before + piece);
        const size_t got = source->read(bytes.data() + before, piece, abort_callback_never());
        bytes.resize(before + std::min(got, piece));
        if (bytes.size() > limit)
            throw exception_io_data();
        if (got < piece)
            return bytes;
    }
}

void writeAll(const std::string& path, const std::vector<uint8_t>& bytes)
{
    openFile(path, filesystem::open_mode::write)->write(bytes.data(), bytes.size(), abort_callback_never());
}

// By a file written beside it, under a name that no file of the user's has. False when that cannot be done
// there; when the bytes do not fit it throws. Either way the preset that was there is as it was.
bool replaceWhole(const std::string& path, const std::vector<uint8_t>& bytes)
{
    string_out_impl native;
    if (const auto serving = filesystem_for_path(path.c_str());
        serving && !serving->get_native_path(path.c_str(), native))
        return false; // nobody could rename it
    const std::string fresh =
        path.substr(0, path.find_last_of("\\/") + 1) + Nv::makeGuidText() + ".vstpreset.new";
    const std::wstring from = win::long_path(native_path(fresh)), to = win::long_path(native_path(path));
    try {
        writeAll(fresh, bytes);
        if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING))
            return true;
    } catch (const exception_io_denied&) {
        // Perhaps no more than new files are forbidden there.
    } catch (...) {
        DeleteFileW(from.c_str());
        throw;
    }
    DeleteFileW(from.c_str());
    return false;
}

// Opening for writing empties a file.
void overwrite(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::vector<uint8_t> old;
    bool is_new = false;
    try {
        old = readAll(path, UINT64_MAX);
    } catch (const exception_io_not_found&) {
        is_new = true;
    }
    try {
        writeAll(path, bytes);
    } catch (...) {
        const auto failure = std::current_exception();
        try {
            if (!is_new)
                writeAll(path, old); // what held it before has room for it
        } catch (...) {
            // The first failure is the one to tell.
        }
        std::rethrow_exception(failure);
    }
}

void writePreset(const std::string& path, const std::vector<uint8_t>& bytes)
{
    if (!replaceWhole(path, bytes))
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
            take(readAll(*path, presetSizeLimit));
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
