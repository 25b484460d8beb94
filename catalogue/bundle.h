#pragma once
// VST 3 modules may come as bundles: a folder NAME.vst3 with a module file per platform inside.

#include <string>

// For paths that people give (UTF-8): of a bundle, a folder that ends in ".vst3" (in any case), the module
// file Contents\x86_64-win\NAME.vst3 when it is there, else Contents\x86-win\NAME.vst3; any other path as it
// is.
std::string resolveModulePath(const std::string& path);
