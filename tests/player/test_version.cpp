// One version everywhere: the component's record, what the programs print, the properties of every shipped
// file.

#include "player/host/player_host.h"
#include "player/services/json_config_store.h"
#include "run_program.h"
#include "sdk/componentversion.h"
#include "win/utf.h"

#include <doctest/doctest.h>

#include <winver.h>

namespace {

std::string version_text(const std::vector<char>& block, const wchar_t* name)
{
    void* value = nullptr;
    UINT length = 0;
    const std::wstring key = std::wstring(L"\\StringFileInfo\\040904b0\\") + name;
    if (!VerQueryValueW(block.data(), key.c_str(), &value, &length) || length == 0)
        return {};
    return win::to_utf8(static_cast<const wchar_t*>(value));
}

std::string version_record(const std::string& component)
{
    const temp_folder folder;
    player::player_host host({}, service_new<player::json_config_store>(folder.path("config.json")));
    host.load_component(component);
    for (auto* factory = host.component_services(); factory; factory = factory->get_next()) {
        service_ptr_t<service_base> service;
        factory->instance_create(service);
        if (const auto record = service_query_as<componentversion>(*service)) {
            string_out_impl text;
            record->get_component_version(text);
            return text.text;
        }
    }
    return "none";
}

} // namespace

TEST_CASE("version: the component's record, the programs and the properties of every shipped file agree")
{
    const std::string arch_folder = dist_folder();
    const std::string effects = arch_folder.substr(0, arch_folder.size() - 3) + "effects" +
                                arch_folder.substr(arch_folder.size() - 4);
    std::vector<std::string> shipped;
    for (const char* const name :
         {"qvxplayer.exe", "qvx_dsp_vst3.dll", "qvxVSTHost64.exe", "qvxVSTHost32.exe"})
        shipped.push_back(arch_folder + "\\" + name);
    for (const char* const name : {"qvxGain", "qvxEcho", "qvxScope"})
        for (const char* const suffix : {".dll", ".vst3"})
            shipped.push_back(effects + "\\" + name + suffix);
    CHECK(version_record(shipped[1]) == QVX_VERSION);
    for (const std::string& file : shipped) {
        CAPTURE(file);
        const std::wstring path = win::to_utf16(file);
        const DWORD size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
        REQUIRE(size > 0);
        std::vector<char> block(size);
        REQUIRE(GetFileVersionInfoW(path.c_str(), 0, size, block.data()));
        void* fixed = nullptr;
        UINT length = 0;
        REQUIRE(VerQueryValueW(block.data(), L"\\", &fixed, &length));
        const auto& numbers = *static_cast<const VS_FIXEDFILEINFO*>(fixed);
        CHECK(std::to_string(HIWORD(numbers.dwFileVersionMS)) + "." +
                  std::to_string(LOWORD(numbers.dwFileVersionMS)) ==
              QVX_VERSION);
        CHECK(numbers.dwProductVersionMS == numbers.dwFileVersionMS);
        for (const wchar_t* const name : {L"FileVersion", L"ProductVersion"})
            CHECK(version_text(block, name) == QVX_VERSION);
        CHECK(file.ends_with("\\" + version_text(block, L"OriginalFilename")));
        CHECK_FALSE(version_text(block, L"FileDescription").empty());
        if (file.ends_with(".exe")) {
            const std::string program =
                file.substr(arch_folder.size() + 1, file.size() - arch_folder.size() - 5);
            CHECK(run_program(file, {"--version"}).out == program + " " QVX_VERSION "\n");
        }
    }
}
