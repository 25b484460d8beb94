#pragma once
// VST 3 modules may come as bundles: a folder NAME.vst3 with a module file per platform inside.

#include <optional>
#include <string>

// The module file of the bundle folder `path` (UTF-8): Contents\x86_64-win\NAME.vst3 when it is there, else
// Contents\x86-win\NAME.vst3. Empty when `path` is no folder that ends in ".vst3" (in any case), or when the
// bundle holds neither.
std::optional<std::string> moduleInBundle(const std::string& path);

// For paths that people give: the module inside a bundle, any other path as it is.
std::string resolveModulePath(const std::string& path);
