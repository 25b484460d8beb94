#pragma once
#include "sdk/hasher_md5.h"

namespace player {

// MD5 by the system's own provider.
class md5_hasher : public hasher_md5 {
public:
    using service_interface = hasher_md5;
    // Throws exception_win32 when the system refuses.
    void begin(service_ptr_t<md5_computation>& out) override;
};

} // namespace player
