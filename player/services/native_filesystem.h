#pragma once
#include "sdk/filesystem.h"

namespace player {

// Files of the operating system: native paths, also written with forward slashes or as "file://" and the
// path. Canonical, display and native path are the same: the full path with backslashes and without one at
// its end. Any length.
class native_filesystem : public filesystem {
public:
    using service_interface = filesystem;

    bool is_our_path(const char* path) const noexcept override;
    void get_canonical_path(const char* path, string_out& out) const override;
    void get_display_path(const char* path, string_out& out) const override;
    bool get_native_path(const char* path, string_out& out) const override;
    void open(service_ptr_t<file>& out, const char* path, open_mode mode, abort_callback& abort) override;
    void list_folder(const char* path, folder_listing& receiver, abort_callback& abort) override;
};

} // namespace player
