#pragma once
// A loaded module file. Failures are told in words that a user can act on and name the file.

#include <windows.h>

#include <string>

namespace vsthost {

class module_file {
public:
    // `path` (UTF-8) is the module's file or, for VST 3, a bundle folder or the file inside one. Its folder
    // takes part in the search for the libraries it needs. GUI thread; throws fatal_error.
    module_file(const std::string& path, int vst_version);
    ~module_file();
    module_file(const module_file&) = delete;
    module_file& operator=(const module_file&) = delete;

    const std::string& path() const noexcept { return path_; } // UTF-8, absolute, of the file itself
    std::string folder() const;

    // Null when there is none.
    template <class Function>
    Function function(const char* name) const
    {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

private:
    std::string path_;
    HMODULE module_ = nullptr;
};

} // namespace vsthost
