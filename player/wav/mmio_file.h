#pragma once
// A file of ours behind the multimedia I/O calls: these limit the length of a path and hide why an open
// failed, so that the file is opened here and read and written through a procedure.

#include "win/handle.h"

#include <mmsystem.h>

#include <cstdint>
#include <string>

namespace player {

// Not movable: the multimedia handle knows this object's address.
class mmio_file {
public:
    // `file` is positioned at its start; `flags` is MMIO_READ or MMIO_WRITE. Throws player_error.
    mmio_file(const std::string& path, win::file_handle file, DWORD flags);
    ~mmio_file();
    mmio_file(const mmio_file&) = delete;
    mmio_file& operator=(const mmio_file&) = delete;

    HMMIO get() const noexcept { return mmio_; }
    DWORD last_error() const noexcept { return error_; } // of the file; 0 when no operation on it failed
    // After a write that failed: the file ends there again, and the failure is forgotten. Throws
    // player_error.
    void cut_to(uint64_t size);
    void close(); // reports what closing has to write; throws player_error

private:
    static LRESULT CALLBACK serve(LPSTR info, UINT message, LPARAM first, LPARAM second);
    LRESULT handle(MMIOINFO& info, UINT message, LPARAM first, LPARAM second);

    std::string path_;
    win::file_handle file_;
    HMMIO mmio_ = nullptr;
    DWORD error_ = 0;
};

} // namespace player
