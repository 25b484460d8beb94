// One version everywhere: what the programs print and the properties of every shipped file.

#include "player/system/paths.h"
#include "run_program.h"

#include <doctest/doctest.h>

#include <winver.h>

TEST_CASE("version: the programs and the properties of every shipped file agree")
{
    const std::string arch = sizeof(void*) == 8 ? "x64" : "x86";
    strings files;
    for (const char* const name :
         {"qvxplayer.exe", "qvx_dsp_vst3.dll", "qvxVSTHost64.exe", "qvxVSTHost32.exe"})
        files.push_back(shipped(name));
    for (const char* const name : {"qvxGain", "qvxEcho", "qvxScope"})
        for (const char* const suffix : {".dll", ".vst3"})
            files.push_back(shipped_effect(std::string(name) + suffix, arch));
    for (const std::string& file : files) {
        CAPTURE(file);
        const std::wstring path = win::to_utf16(file);
        std::vector<char> block(GetFileVersionInfoSizeW(path.c_str(), nullptr));
        REQUIRE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
        void* value = nullptr;
        UINT length = 0;
        const auto text = [&](const wchar_t* name) {
            const std::wstring key = std::wstring(L"\\StringFileInfo\\040904b0\\") + name;
            const bool is_there = VerQueryValueW(block.data(), key.c_str(), &value, &length) && length != 0;
            return is_there ? win::to_utf8(static_cast<const wchar_t*>(value)) : "";
        };
        CHECK(text(L"FileVersion") == QVX_VERSION);
        CHECK(text(L"ProductVersion") == QVX_VERSION);
        CHECK(text(L"OriginalFilename") == player::file_name(file));
        CHECK(text(L"FileDescription") != "");
        REQUIRE(VerQueryValueW(block.data(), L"\\", &value, &length));
        const auto& numbers = *static_cast<const VS_FIXEDFILEINFO*>(value);
        CHECK(std::to_string(HIWORD(numbers.dwFileVersionMS)) + "." +
                  std::to_string(LOWORD(numbers.dwFileVersionMS)) ==
              QVX_VERSION);
        CHECK(numbers.dwProductVersionMS == numbers.dwFileVersionMS);
        if (const std::string name = player::file_name(file); name.ends_with(".exe"))
            CHECK(run_program(file, {"--version"}).out == name.substr(0, name.size() - 4) + " " QVX_VERSION
                                                                                            "\n");
    }
}
