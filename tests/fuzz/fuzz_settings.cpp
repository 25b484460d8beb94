// The component's settings as a block of bytes, and the lists of folders in them.

#include "catalogue/settings.h"
#include "catalogue/small_host.h"
#include "fuzz/require.h"
#include "sdk/exceptions.h"
#include "sdk/stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    small_host host;
    host.add<counting_store>();
    idle_token token;
    try {
        stream_reader_memblock_ref in(data, size);
        // The caller's claim may be wrong both ways.
        cfg_var_modern::read_all(in, size != 0 && data[0] == 0xFF ? size + 1 : size, token);
        stream_writer_buffer_simple out;
        cfg_var_modern::write_all(out, token);
    } catch (const exception_io_data&) {
    }
    getUserFolders();
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto pieces = withoutEmpty(splitPaths(text));
    require(withoutEmpty(splitPaths(joinPaths(pieces))) == pieces);
    setDefaultFolderEnabled(text, true);
    setDefaultFolderEnabled(text, false);
    return 0;
}
