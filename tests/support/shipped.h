#pragma once
// Where the shipped files are that tests use.

#include "win/utf.h"

#include <windows.h>

#include <cstdlib>
#include <string>

// For programs of this bitness. The environment's QVX_DIST says where; without it the folder is where the
// build has it, seen from this program (build/ARCH/tests/bin/PROGRAM).
inline std::string dist()
{
    if (const char* const folder = std::getenv("QVX_DIST"))
        return folder;
    wchar_t path[4096] = {};
    std::wstring top(path, GetModuleFileNameW(nullptr, path, 4096));
    for (int level = 0; level < 4; ++level)
        top.resize(top.find_last_of(L'\\'));
    return win::to_utf8(top) + "\\dist";
}
inline std::string shipped(const std::string& file)
{
    return dist() + (sizeof(void*) == 8 ? "\\x64\\" : "\\x86\\") + file;
}
// "qvxEcho.vst3" for "x64" or "x86".
inline std::string shipped_effect(const std::string& file, const std::string& arch)
{
    return dist() + "\\effects\\" + arch + "\\" + file;
}
