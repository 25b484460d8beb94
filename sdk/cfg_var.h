#pragma once
// Variables of a component that the player's configuration store keeps. Each is a static object, known by its
// GUID, that links itself into the module's list of variables when it is constructed; nothing is read from
// the store before the first use.

#include "sdk/guid.h"
#include "sdk/reader_writer_lock.h"
#include "sdk/stream.h"

#include <string>

namespace cfg_var_modern {

// A text (UTF-8).
class cfg_string {
public:
    // `default_text` is static.
    cfg_string(const guid_t& guid, const char* default_text) noexcept;
    cfg_string(const cfg_string&) = delete;
    cfg_string& operator=(const cfg_string&) = delete;

    const guid_t& get_guid() const noexcept { return guid_; }
    std::string key() const; // in the configuration store

    // Any thread. The first call reads the store; one that throws (exception_host_bug_check unless there is
    // exactly one store) leaves the next call to try again.
    std::string get();
    // Main thread. Stored at once; when the store throws, the old text stays.
    void set(const std::string& text);

    // The variables of this module, last constructed first; get_next() is null at the end.
    static cfg_string* get_list() noexcept;
    cfg_string* get_next() const noexcept { return next_; }

private:
    guid_t guid_;
    const char* default_text_;
    cfg_string* next_;
    reader_writer_lock lock_; // guards what follows
    bool loaded_ = false;
    std::string text_;
};

// All variables of this module as one block of bytes: per variable its GUID, a 32-bit byte count and the
// text. Main thread.
void write_all(stream_writer& out, abort_callback& abort);
// Takes over the variables of a block of `byte_count` bytes; those that this module does not have are
// skipped. Throws exception_io_data_truncation when the block ends inside a variable; those before it are set
// then.
void read_all(stream_reader& in, size_t byte_count, abort_callback& abort);

} // namespace cfg_var_modern
