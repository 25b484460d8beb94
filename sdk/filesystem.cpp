#include "sdk/filesystem.h"

#include "sdk/host_api.h"

service_ptr_t<filesystem> filesystem_for_path(const char* path)
{
    service_ptr_t<filesystem> found;
    service_enumerate<filesystem>([&](filesystem& candidate) {
        if (!candidate.is_our_path(path))
            return true;
        found = &candidate;
        return false;
    });
    return found;
}

std::string native_path(const std::string& path)
{
    string_out_impl native;
    if (const auto serving = filesystem_for_path(path.c_str());
        serving && serving->get_native_path(path.c_str(), native))
        return native.text;
    return path;
}
