#pragma once
// The player's file layer. Paths are UTF-8 and terminated; besides native paths a player may have path forms
// of its own, and get_native_path turns what it can into a path that the operating system opens. Any thread;
// a file is used by one at a time and closed by its last release. Failures: exception_io_not_found,
// exception_io_denied, exception_io_data, exception_io, exception_aborted, exception_win32.

#include "sdk/abort_callback.h"
#include "sdk/service.h"
#include "sdk/string_out.h"

#include <string>

class file : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x9143998c, 0x82ff, 0x4628, {0x8c, 0x16, 0x23, 0x39, 0xf2, 0xce, 0x87, 0x92}};
    static constexpr uint64_t size_unknown = UINT64_MAX;

    virtual size_t read(void* buffer, size_t byte_count, abort_callback& abort) = 0; // fewer only at the end
    virtual void write(const void* buffer, size_t byte_count, abort_callback& abort) = 0;
    virtual uint64_t get_size(abort_callback& abort) = 0; // bytes, or size_unknown

protected:
    ~file() = default;
};

// Receives the entries of a folder in the order the listing has them, on the caller's thread. The texts are
// only valid during the call; what it throws ends the listing and reaches its caller.
class folder_listing {
public:
    virtual void on_entry(bool is_folder, const char* name, const char* full_path) = 0;

protected:
    ~folder_listing() = default;
};

class filesystem : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x5d26a373, 0xeebc, 0x4c36, {0x83, 0x9e, 0x56, 0xf3, 0x09, 0xb4, 0xb9, 0xe8}};
    enum class open_mode : uint32_t {
        read = 0,  // shared with readers, writers and deleters
        write = 1, // created or truncated
    };

    virtual bool is_our_path(const char* path) const noexcept = 0;
    // The full path, in the form that is stored and compared whatever form it came in; letters keep their
    // case.
    virtual void get_canonical_path(const char* path, string_out& out) const = 0;
    virtual void get_display_path(const char* path, string_out& out) const = 0; // as a user is to see it
    // False when the path has no native form.
    virtual bool get_native_path(const char* path, string_out& out) const = 0;
    virtual void open(service_ptr_t<file>& out, const char* path, open_mode mode, abort_callback& abort) = 0;
    virtual void list_folder(const char* path, folder_listing& receiver, abort_callback& abort) = 0;

protected:
    ~filesystem() = default;
};

// The file system that serves the path, empty when none does.
service_ptr_t<filesystem> filesystem_for_path(const char* path);

// The native form of a path; a path that no file system knows how to turn into one passes unchanged.
std::string native_path(const std::string& path);
