#include "player/services/md5_hasher.h"

#include "sdk/exceptions.h"

#include <windows.h>

#include <bcrypt.h>

#include <algorithm>
#include <array>

namespace player {

namespace {

// The provider's status codes are not Win32's; the common ones map to it well enough to be shown.
void check(NTSTATUS status)
{
    if (status < 0)
        throw exception_win32(static_cast<uint32_t>(status));
}

// Open for as long as the process lives.
BCRYPT_ALG_HANDLE provider()
{
    static const BCRYPT_ALG_HANDLE opened = [] {
        BCRYPT_ALG_HANDLE handle = nullptr;
        check(BCryptOpenAlgorithmProvider(&handle, BCRYPT_MD5_ALGORITHM, nullptr, 0));
        return handle;
    }();
    return opened;
}

class unique_hash {
public:
    unique_hash() = default;
    ~unique_hash()
    {
        if (handle_)
            BCryptDestroyHash(handle_);
    }
    unique_hash(const unique_hash&) = delete;
    unique_hash& operator=(const unique_hash&) = delete;
    BCRYPT_HASH_HANDLE get() const noexcept { return handle_; }
    BCRYPT_HASH_HANDLE* put() noexcept { return &handle_; }

private:
    BCRYPT_HASH_HANDLE handle_ = nullptr;
};

class computation : public md5_computation {
public:
    using service_interface = md5_computation;
    computation() { check(BCryptCreateHash(provider(), hash_.put(), nullptr, 0, nullptr, 0, 0)); }

    void process(const void* data, size_t byte_count) override
    {
        // The call takes a writable pointer and only reads it.
        auto* bytes = static_cast<uint8_t*>(const_cast<void*>(data));
        while (byte_count != 0) {
            const auto now = static_cast<ULONG>(std::min<size_t>(byte_count, 1 << 30));
            check(BCryptHashData(hash_.get(), bytes, now, 0));
            bytes += now;
            byte_count -= now;
        }
    }
    guid_t get_result_guid() override
    {
        // A hash that was finished takes no more: the result comes from a copy.
        unique_hash copy;
        check(BCryptDuplicateHash(hash_.get(), copy.put(), nullptr, 0, 0));
        std::array<UCHAR, 16> digest;
        check(BCryptFinishHash(copy.get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
        guid_t result;
        static_assert(sizeof(result) == sizeof(digest));
        std::memcpy(&result, digest.data(), sizeof(result));
        return result;
    }

private:
    unique_hash hash_;
};

} // namespace

void md5_hasher::begin(service_ptr_t<md5_computation>& out)
{
    out = service_new<computation>();
}

} // namespace player
