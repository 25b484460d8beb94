#pragma once
// The worker programs' command line, complete: every option of every mode is spelled here and nowhere else in
// the component. Pure.
//
//   EXECUTABLE MODE --vst PATH --vst-version N <options of the mode> --pipe NAME

#include "catalogue/vstConfig.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Nv {

using argumentList = std::vector<std::string>; // UTF-8

constexpr std::string_view modeProcess = "process";
constexpr std::string_view modeConfigure = "configure";
constexpr std::string_view modeConfigureLive = "configure-live";

// The folder part of a path, with the separator that ends it; empty without one.
std::string folderOf(std::string_view path);

// The worker program for a module's machine type: the 64-bit one for exactly "x64" (a NUL ends the text),
// else the 32-bit one.
std::string workerFileName(std::string_view arch);

// The options of each mode, in their order. `dspFlags`: dsp_flag_realtime; `dataFile`: the path of the file
// that holds the state; `parentWindow`: an HWND, 0 for none.
argumentList processOptions(const vstConfig_t& effect, uint32_t dspFlags);
argumentList configureOptions(bool dpiAware, const std::string& dataFile, uintptr_t parentWindow);
argumentList visualizationOptions(bool dpiAware, uintptr_t parentWindow);

// The whole list. `nativePath` is the effect's path in the form that the operating system opens; an empty
// pipe name leaves the pipe out.
argumentList workerArguments(const std::string& executable, std::string_view mode,
                             const std::string& nativePath, int vstVersion, const argumentList& options,
                             const std::string& pipeName);

// The arguments with single spaces between them, quoted where they contain a space. Nothing is escaped.
std::string joinCommandLine(const argumentList& arguments);

} // namespace Nv
