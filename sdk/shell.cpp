#include "sdk/shell.h"

#include "sdk/host_api.h"

namespace {

service_ptr_t<shell_service> shell()
{
    core_api::ensure_main_thread();
    return service_get_unique<shell_service>();
}

} // namespace

void show_popup(void* parent, const std::string& text, const std::string& title, popup_kind kind)
{
    shell()->show_popup(parent, text.c_str(), title.c_str(), kind);
}

std::optional<std::string> uGetOpenFileName(void* parent, const char* filter, const char* default_extension,
                                            const char* title, const char* folder, bool save)
{
    string_out_impl path;
    if (!shell()->get_open_file_name(parent, filter, default_extension, title, folder, save, path))
        return std::nullopt;
    return std::move(path.text);
}

std::optional<std::string> uBrowseForFolderEx(void* parent, const char* title)
{
    string_out_impl path;
    if (!shell()->browse_for_folder(parent, title, path))
        return std::nullopt;
    return std::move(path.text);
}

bool uShellExecute(void* parent, const char* verb, const char* file, const char* parameters)
{
    return shell()->execute(parent, verb, file, parameters);
}
