// What a scan over real files needs of memory, and how soon it ends when it is cancelled.

#include "catalogue/image_builder.h"
#include "catalogue/scanFolders.h"
#include "catalogue/small_host.h"
#include "player/services/native_filesystem.h"
#include "sdk/abort_callback_impl.h"
#include "support/temp_folder.h"
#include "support/test_options.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <psapi.h>

#include <chrono>
#include <thread>

namespace {

using clock_type = std::chrono::steady_clock;

double milliseconds_since(clock_type::time_point began)
{
    return std::chrono::duration<double, std::milli>(clock_type::now() - began).count();
}

size_t memory_in_use()
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters.WorkingSetSize;
}

} // namespace

TEST_CASE("scan: its memory and how soon it stops")
{
    const size_t folder_count = test_options::long_run() ? 1000 : 100;
    constexpr size_t files_each = 10;
    small_host host;
    host.add<player::native_filesystem>();

    const temp_folder top;
    image_builder other; // a library of somebody's: read to its last name
    other.names = {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"};
    auto other_bytes = other.build();
    auto plug_bytes = image_builder().build();
    other_bytes.resize(16384);
    plug_bytes.resize(16384);
    size_t expected = 0;
    for (size_t i = 0; i < folder_count; ++i) {
        const std::string folder = "f" + std::to_string(i);
        top.make(folder);
        ++expected;
        for (size_t k = 0; k < files_each; ++k) {
            const std::string name = folder + "\\m" + std::to_string(k) + ".dll";
            top.write(name, k == 0 ? plug_bytes : other_bytes);
        }
    }

    abort_callback_impl abort;
    const std::vector<vstFolder_t> folders = {{top.path(), vstFolder_t::user}};
    const size_t before = memory_in_use();
    const auto began = clock_type::now();
    auto result = scanFolders(folders, abort);
    const double scan = milliseconds_since(began);
    const size_t after = memory_in_use();
    CHECK(result.size() == expected);
    CHECK(after < before + (size_t{20} << 20));

    // Cancelled in the middle. In time once is enough: the machine may be busy with something else.
    double best = 1000;
    for (int attempt = 0; attempt < 3 && best >= 50; ++attempt) {
        abort.reset();
        clock_type::time_point cancelled;
        std::thread canceller([&] {
            std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(scan / 2));
            cancelled = clock_type::now();
            abort.abort();
        });
        const auto part = scanFolders(folders, abort);
        const auto ended = clock_type::now();
        canceller.join();
        CHECK(part.size() < result.size());
        best = std::chrono::duration<double, std::milli>(ended - cancelled).count();
    }
    CHECK(best < 50);
}
