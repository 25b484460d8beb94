#include "ui/openFile.h"

#include "sdk/abort_callback_impl.h"
#include "sdk/exceptions.h"

service_ptr_t<file> openFile(const std::string& path, filesystem::open_mode mode)
{
    const auto serving = filesystem_for_path(path.c_str());
    if (!serving)
        throw exception_io_not_found();
    service_ptr_t<file> opened;
    serving->open(opened, path.c_str(), mode, abort_callback_never());
    return opened;
}
