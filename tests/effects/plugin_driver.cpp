#include "effects/plugin_driver.h"

#include <windows.h>

std::wstring effect_path(const std::wstring& name)
{
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path; // build/<arch>/tests/bin/program
    folder.resize(folder.rfind(L'\\'));
    return folder + L"\\..\\..\\..\\dist\\effects" + (sizeof(void*) == 8 ? L"\\x64\\" : L"\\x86\\") + name;
}

std::unique_ptr<plugin_driver> open_plugin(const std::wstring& path)
{
    return path.ends_with(L".vst3") ? open_vst3(path) : open_vst2(path);
}
