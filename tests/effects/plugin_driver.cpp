#include "effects/plugin_driver.h"

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

std::mutex edit_mutex;
std::condition_variable edit_noted;
std::thread::id last_editor;

std::wstring own_folder()
{
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path; // build/<arch>/tests/bin/program
    folder.resize(folder.rfind(L'\\'));
    return folder;
}

std::wstring dist_effects()
{
    return own_folder() + L"\\..\\..\\..\\dist\\effects\\";
}

} // namespace

std::wstring effect_path(const std::wstring& name)
{
    return dist_effects() + (sizeof(void*) == 8 ? L"x64\\" : L"x86\\") + name;
}

std::wstring test_program_path(const std::wstring& name)
{
    return own_folder() + L"\\" + name;
}

std::wstring test_module_path(const std::wstring& name)
{
    return own_folder() + L"\\modules\\" + name;
}

void note_edit()
{
    {
        const std::lock_guard lock(edit_mutex);
        last_editor = std::this_thread::get_id();
    }
    edit_noted.notify_all();
}

bool plugin_driver::wait_for_edit(unsigned milliseconds)
{
    std::unique_lock lock(edit_mutex);
    last_editor = {};
    return edit_noted.wait_for(lock, std::chrono::milliseconds(milliseconds), [] {
        return last_editor != std::thread::id() && last_editor != std::this_thread::get_id();
    });
}

std::wstring state_path(const std::wstring& name)
{
    return dist_effects() + L"states\\" + name;
}

std::unique_ptr<plugin_driver> open_plugin(const std::wstring& path)
{
    return path.ends_with(L".vst3") ? open_vst3(path) : open_vst2(path);
}
