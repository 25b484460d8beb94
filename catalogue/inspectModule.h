#pragma once
// What kind of plug-in a module file is, told from its headers: nothing of the module is loaded or run. Any
// thread. Paths are UTF-8.

#include "catalogue/moduleImage.h"

#include <cstdint>
#include <string>

struct module_info {
    std::string arch;       // "x86", "x64" or "ARM64"
    int32_t vstVersion = 0; // 2 or 3
};

// `preferredVersion` 2 or 3 decides for a module with both kinds of entry point. Throws exception_io_data
// when the file is not a usable plug-in module, for whatever reason; prints nothing.
module_info inspectModule(const std::string& path, int32_t preferredVersion);

// The same, but a refusal is a result that says why (refusalText puts it into words).
module_report examineModule(const std::string& path, int32_t preferredVersion);
