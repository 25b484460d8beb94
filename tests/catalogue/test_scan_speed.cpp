// The price of a scan against the least it could cost, opening every candidate and reading its first 4 KiB,
// both measured in one run over real files.

#include "catalogue/image_builder.h"
#include "catalogue/scanFolders.h"
#include "catalogue/small_host.h"
#include "player/native_filesystem.h"
#include "sdk/abort_callback_impl.h"
#include "support/temp_folder.h"
#include "support/test_options.h"
#include "win/handle.h"
#include "win/long_path.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <psapi.h>

#include <chrono>
#include <cstdio>
#include <numeric>
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

size_t first_block(const std::string& path)
{
    const win::file_handle file(CreateFileW(win::long_path(path).c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                            nullptr));
    char block[4096];
    DWORD got = 0;
    return file && ReadFile(file.get(), block, sizeof(block), &got, nullptr) ? got : 0;
}

} // namespace

TEST_CASE("scan: its price, its memory and how soon it stops")
{
    const size_t folder_count = test_options::long_run() ? 1000 : 60;
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
    std::vector<std::string> paths;
    for (size_t i = 0; i < folder_count; ++i) {
        const std::string folder = "f" + std::to_string(i);
        top.make(folder);
        paths.push_back(top.path(folder));
        for (size_t k = 0; k < files_each; ++k) {
            const std::string name = folder + "\\m" + std::to_string(k) + ".dll";
            top.write(name, k == 0 ? plug_bytes : other_bytes);
        }
    }

    // Folder by folder in turns, and the best of several rounds for each, since other programs may be busy.
    abort_callback_impl abort;
    std::vector<double> scanning(paths.size(), 1e9), reading(paths.size(), 1e9);
    for (int round = 0; round < 6; ++round) {
        for (size_t i = 0; i < paths.size(); ++i) {
            auto began = clock_type::now();
            size_t bytes = 0;
            for (size_t k = 0; k < files_each; ++k)
                bytes += first_block(paths[i] + "\\m" + std::to_string(k) + ".dll");
            reading[i] = std::min(reading[i], milliseconds_since(began));
            REQUIRE(bytes == files_each * 4096);

            began = clock_type::now();
            const auto result = scanFolders({{paths[i], vstFolder_t::user}}, abort);
            scanning[i] = std::min(scanning[i], milliseconds_since(began));
            REQUIRE(result.size() == 1);
        }
    }
    const double scan = std::accumulate(scanning.begin(), scanning.end(), 0.0);
    const double read = std::accumulate(reading.begin(), reading.end(), 0.0);

    const std::vector<vstFolder_t> folders = {{top.path(), vstFolder_t::user}};
    const size_t before = memory_in_use();
    auto result = scanFolders(folders, abort);
    const size_t after = memory_in_use();
    std::printf("%zu candidates: scan %.1f ms, opening and reading %.1f ms, ratio %.2f; memory +%zu KiB\n",
                paths.size() * files_each, scan, read, scan / read,
                after > before ? (after - before) / 1024 : 0);
    CHECK(result.size() == paths.size());
    // The short form runs beside whatever else a machine does and only has to catch a scan gone wrong.
    CHECK(scan < (test_options::long_run() ? 2 : 4) * read);
    CHECK(after < before + (size_t{20} << 20));

    // Cancelled in the middle.
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
    CHECK(std::chrono::duration<double, std::milli>(ended - cancelled).count() < 50);
}
