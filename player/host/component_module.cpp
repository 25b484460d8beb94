#include "player/host/component_module.h"

#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "win/long_path.h"
#include "win/utf.h"

namespace player {

namespace {

// The modules that a component needs lie beside it. Without error boxes.
HMODULE load(const std::string& path)
{
    const UINT old_mode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    const HMODULE module =
        LoadLibraryExW(win::long_path(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    const DWORD code = GetLastError();
    SetErrorMode(old_mode);
    if (module)
        return module;
    if (!path_exists(path))
        throw player_error(path + ": the component is missing; name it with --component");
    if (code == ERROR_BAD_EXE_FORMAT)
        throw player_error(path + ": is not a " + std::to_string(8 * sizeof(void*)) +
                           "-bit module; use the component that lies beside this player");
    if (code == ERROR_MOD_NOT_FOUND)
        throw player_error(path + ": cannot be loaded: a module that it needs is missing; put the run-time "
                                  "libraries beside it");
    throw_file_error(path, "cannot be loaded", code);
}

} // namespace

component_module::component_module(const std::string& given_path, host_api& host)
{
    const std::string path = absolute_path(given_path);
    module_ = load(path);
    try {
        const FARPROC address = GetProcAddress(module_, "quavix_get_interface");
        if (!address)
            throw player_error(path + ": is not a component of this player; name one with --component");
        const auto get_interface =
            reinterpret_cast<quavix_get_interface_t*>(reinterpret_cast<void (*)()>(address));
        client_ = get_interface(&host);
        if (!client_ || client_->get_version() != component_client::current_version)
            throw player_error(path +
                               ": is made for another version of the player; use the component that lies "
                               "beside this one");
        client_->set_library_path(path.c_str(), file_name(path).c_str());
    } catch (...) {
        FreeLibrary(module_);
        throw;
    }
}

component_module::~component_module()
{
    FreeLibrary(module_);
}

} // namespace player
