#include "catalogue/inspectModule.h"

#include "sdk/exceptions.h"
#include "win/handle.h"
#include "win/long_path.h"

#include <algorithm>

namespace {

class module_file final : public module_image_reader {
public:
    // An empty handle is a refusal that the caller has to name.
    explicit module_file(const std::wstring& path) noexcept
        : file_(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, 0, nullptr))
        , open_error_(file_ ? 0 : GetLastError())
    {
        LARGE_INTEGER size{};
        // Reading from a console or a pipe would wait for somebody.
        if (file_ && (GetFileType(file_.get()) != FILE_TYPE_DISK || !GetFileSizeEx(file_.get(), &size))) {
            file_.reset();
            open_error_ = ERROR_ACCESS_DENIED;
        }
        size_ = static_cast<uint64_t>(size.QuadPart);
    }

    DWORD open_error() const noexcept { return open_error_; } // 0 when it is open

    bool read_at(uint64_t offset, void* buffer, size_t byte_count, size_t& delivered) noexcept override
    {
        LARGE_INTEGER position;
        position.QuadPart = static_cast<LONGLONG>(offset);
        DWORD got = 0;
        const DWORD wanted = static_cast<DWORD>(std::min<size_t>(byte_count, MAXDWORD));
        if (!SetFilePointerEx(file_.get(), position, nullptr, FILE_BEGIN) ||
            !ReadFile(file_.get(), buffer, wanted, &got, nullptr))
            return false;
        delivered = got;
        return true;
    }
    uint64_t get_size() const noexcept override { return size_; }

private:
    win::file_handle file_;
    DWORD open_error_;
    uint64_t size_ = 0;
};

module_refusal refusal_of_open(const std::wstring& path, DWORD error) noexcept
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
        return module_refusal::missing;
    default:
        break;
    }
    // Opening a folder is refused as "access denied".
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return module_refusal::folder;
    return module_refusal::unreadable;
}

} // namespace

module_report examineModule(const std::string& path, int32_t preferredVersion)
{
    const std::wstring native = win::long_path(path);
    module_file file(native);
    if (file.open_error() != 0) {
        module_report report;
        report.refusal = refusal_of_open(native, file.open_error());
        return report;
    }
    return examineModuleImage(file, preferredVersion);
}

module_info inspectModule(const std::string& path, int32_t preferredVersion)
{
    module_report report = examineModule(path, preferredVersion);
    if (report.refusal != module_refusal::none)
        throw exception_io_data();
    return {std::move(report.arch), report.vstVersion};
}
