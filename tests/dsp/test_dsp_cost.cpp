// What a chunk costs: allocations and transfers, counted at the imports of this program and of its runtime.

#include "dsp_under_test.h"

#include "support/patched_import.h"
#include "support/test_host.h"

#include <windows.h>

#include <doctest/doctest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <list>

namespace {

struct counters {
    std::atomic<unsigned> allocations{0};
    std::atomic<size_t> largest{0};
    std::atomic<unsigned> writes{0};
    std::atomic<unsigned> reads{0};
};
counters counted;
std::atomic<DWORD> counting_thread{0}; // whose calls count

bool counting()
{
    return counting_thread == GetCurrentThreadId();
}

void count_allocation(size_t size)
{
    if (!counting())
        return;
    ++counted.allocations;
    size_t largest = counted.largest;
    while (size > largest && !counted.largest.compare_exchange_weak(largest, size)) {
    }
}

// These stand outside of the hooked imports: each calls through an address taken before.
decltype(&std::malloc) real_malloc = &std::malloc;
decltype(&_aligned_malloc) real_aligned_malloc = &_aligned_malloc;
decltype(&WriteFile) real_write = &WriteFile;
decltype(&ReadFile) real_read = &ReadFile;

void* counting_malloc(size_t size)
{
    count_allocation(size);
    return real_malloc(size);
}
void* counting_aligned_malloc(size_t size, size_t alignment)
{
    count_allocation(size);
    return real_aligned_malloc(size, alignment);
}
BOOL WINAPI counting_write(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD done, LPOVERLAPPED overlapped)
{
    counted.writes += counting();
    return real_write(file, bytes, size, done, overlapped);
}
BOOL WINAPI counting_read(HANDLE file, LPVOID bytes, DWORD size, LPDWORD done, LPOVERLAPPED overlapped)
{
    counted.reads += counting();
    return real_read(file, bytes, size, done, overlapped);
}

// Hooks while it lives; start and stop choose what is counted.
class cost_meter {
public:
    cost_meter()
    {
        const HMODULE program = GetModuleHandleW(nullptr);
        const HMODULE runtime = GetModuleHandleW(L"libstdc++-6.dll"); // operator new lives there
        REQUIRE(runtime);
        REQUIRE(patched_import::is_imported("malloc", runtime));
        // Addresses past import stubs, which would lead back into the hooks.
        const HMODULE c = GetModuleHandleW(L"msvcrt.dll");
        const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
        take(real_malloc, c, "malloc");
        take(real_aligned_malloc, c, "_aligned_malloc");
        take(real_write, kernel, "WriteFile");
        take(real_read, kernel, "ReadFile");
        for (const HMODULE module : {program, runtime}) {
            hook(module, "malloc", reinterpret_cast<void*>(&counting_malloc));
            hook(module, "_aligned_malloc", reinterpret_cast<void*>(&counting_aligned_malloc));
        }
        hook(program, "WriteFile", reinterpret_cast<void*>(&counting_write));
        hook(program, "ReadFile", reinterpret_cast<void*>(&counting_read));
    }

    // What `work` costs on this thread; valid until the next measurement.
    template <class Work>
    const counters& of(Work&& work)
    {
        counted.allocations = counted.writes = counted.reads = 0;
        counted.largest = 0;
        counting_thread = GetCurrentThreadId();
        work();
        counting_thread = 0;
        return counted;
    }

private:
    template <class Function>
    static void take(Function& real, HMODULE module, const char* name)
    {
        const auto found = reinterpret_cast<void*>(GetProcAddress(module, name));
        REQUIRE(found);
        real = reinterpret_cast<Function>(found);
    }
    void hook(HMODULE module, const char* name, void* replacement)
    {
        if (patched_import::is_imported(name, module))
            hooks_.emplace_back(name, replacement, module);
    }

    std::list<patched_import> hooks_;
};

} // namespace

TEST_CASE("a warm chunk allocates nothing, is written at once and read in at most two pieces")
{
    const test_host host;
    fake_worker::use_for_launches();
    cost_meter meter;
    // The meter sees what it has to see.
    const counters& seen = meter.of([] {
        std::vector<std::string> texts(3, std::string(100, 'x'));
        audio_chunk_impl_t chunk;
        chunk.set_data_size(1000);
    });
    CHECK(seen.allocations >= 5);
    CHECK(seen.largest >= 8000);

    // An output that is wider than the input, so that the chunk's storage has to keep up as well.
    dsp_under_test test("connect\nserve", [](vstConfig_t& config) { config.outputChannelMask = 0x3F; });
    const audio sizes[] = {{.frames = 4096}, {.frames = 1024}, {.frames = 1}, {.frames = 4096}};
    for (int warm_up = 0; warm_up < 2; ++warm_up) {
        for (const audio& size : sizes)
            CHECK(test.run(size) == "");
    }
    for (const audio& size : sizes) {
        test.list.remove_all();
        fill_chunk(*test.list.add_item(), size);
        const counters& cost =
            meter.of([&] { test.dsp->run_abortable(test.list, nullptr, dsp_flag_end_of_track, test.token); });
        CAPTURE(size.frames);
        CHECK(cost.allocations == 0);
        CHECK(cost.writes == 1);
        CHECK(cost.reads >= 1);
        CHECK(cost.reads <= 2);
        CHECK(test.list.get_item(0)->get_channel_count() == 6);
    }
    test.run(sizes[0]);
    CHECK(meter.of([&] { test.run({.rate = 48000, .frames = 9000}); }).allocations > 0);
}
