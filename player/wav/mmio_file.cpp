#include "player/wav/mmio_file.h"

#include "player/system/player_error.h"

#include <cstring>

namespace player {

mmio_file::mmio_file(const std::string& path, win::file_handle file, DWORD flags)
    : path_(path)
    , file_(std::move(file))
{
    MMIOINFO info{};
    info.pIOProc = &serve;
    // The three words of private data are how the procedure finds this object.
    void* const self = this;
    static_assert(sizeof(self) <= sizeof(info.adwInfo));
    std::memcpy(info.adwInfo, &self, sizeof(self));
    mmio_ = mmioOpenW(nullptr, &info, flags);
    if (!mmio_)
        throw player_error(path + ": cannot be opened (multimedia error " + std::to_string(info.wErrorRet) +
                           ")");
}

mmio_file::~mmio_file()
{
    if (mmio_)
        mmioClose(mmio_, 0);
}

void mmio_file::cut_to(uint64_t size)
{
    error_ = 0;
    if (mmioSeek(mmio_, static_cast<LONG>(size), SEEK_SET) < 0 || !SetEndOfFile(file_.get()))
        throw_file_error(path_, "cannot be written", error_ ? error_ : GetLastError());
}

void mmio_file::close()
{
    const MMRESULT result = mmioClose(std::exchange(mmio_, nullptr), 0);
    file_.reset();
    if (result != 0 || error_ != 0)
        throw_file_error(path_, "cannot be written", error_ ? error_ : ERROR_WRITE_FAULT);
}

LRESULT CALLBACK mmio_file::serve(LPSTR info_bytes, UINT message, LPARAM first, LPARAM second)
{
    auto& info = *reinterpret_cast<MMIOINFO*>(info_bytes);
    void* self = nullptr;
    std::memcpy(&self, info.adwInfo, sizeof(self));
    return static_cast<mmio_file*>(self)->handle(info, message, first, second);
}

LRESULT mmio_file::handle(MMIOINFO& info, UINT message, LPARAM first, LPARAM second)
{
    DWORD moved = 0;
    switch (message) {
    case MMIOM_OPEN:
    case MMIOM_CLOSE:
        return 0;
    case MMIOM_READ:
        if (!ReadFile(file_.get(), reinterpret_cast<void*>(first), static_cast<DWORD>(second), &moved,
                      nullptr)) {
            error_ = GetLastError();
            return -1;
        }
        info.lDiskOffset += static_cast<LONG>(moved);
        return static_cast<LRESULT>(moved);
    case MMIOM_WRITE:
    case MMIOM_WRITEFLUSH:
        if (!WriteFile(file_.get(), reinterpret_cast<const void*>(first), static_cast<DWORD>(second), &moved,
                       nullptr)) {
            error_ = GetLastError();
            return -1;
        }
        if (moved != static_cast<DWORD>(second)) {
            error_ = ERROR_DISK_FULL; // a disk that still took a part is no failure of the call
            return -1;
        }
        info.lDiskOffset += static_cast<LONG>(moved);
        return static_cast<LRESULT>(moved);
    case MMIOM_SEEK: {
        LARGE_INTEGER distance, at;
        distance.QuadPart = static_cast<LONG>(first);
        // SEEK_SET, SEEK_CUR, SEEK_END have the values of FILE_BEGIN, FILE_CURRENT, FILE_END.
        if (!SetFilePointerEx(file_.get(), distance, &at, static_cast<DWORD>(second))) {
            error_ = GetLastError();
            return -1;
        }
        info.lDiskOffset = static_cast<LONG>(at.QuadPart);
        return info.lDiskOffset;
    }
    default:
        return 0;
    }
}

} // namespace player
