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
// Whose calls count: one thread's, nobody's or everybody's.
constexpr DWORD nobody = 0;
constexpr DWORD everybody = 0xFFFFFFFF;
std::atomic<DWORD> counting_thread{nobody};

bool counting()
{
    const DWORD thread = counting_thread;
    return thread == everybody || thread == GetCurrentThreadId();
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

    // What `work` costs on this thread, or on all of them; valid until the next measurement.
    template <class Work>
    const counters& of(Work&& work, DWORD thread = GetCurrentThreadId())
    {
        counted.allocations = counted.writes = counted.reads = 0;
        counted.largest = 0;
        counting_thread = thread;
        work();
        counting_thread = nobody;
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

// One chunk that claims to be as long as the test likes, over a few samples.
class vast_chunk_list final : public dsp_chunk_list, private audio_chunk {
public:
    vast_chunk_list(size_t frames, uint32_t channels)
        : frames_(frames)
        , channels_(channels)
    {
    }
    size_t get_count() const noexcept override { return 1; }
    audio_chunk* get_item(size_t index) noexcept override { return index == 0 ? this : nullptr; }
    void remove_by_index(size_t) noexcept override {}
    audio_chunk* insert_item(size_t, size_t) override { throw std::bad_alloc(); }

    bool touched = false;

private:
    double* get_data() noexcept override { return samples_; }
    void set_data_size(size_t) override { touched = true; }
    uint32_t get_sample_rate() const noexcept override { return 44100; }
    void set_sample_rate(uint32_t) noexcept override { touched = true; }
    uint32_t get_channel_count() const noexcept override { return channels_; }
    uint32_t get_channel_config() const noexcept override { return 0; }
    void set_channels(uint32_t, uint32_t) noexcept override { touched = true; }
    size_t get_sample_count() const noexcept override { return frames_; }
    void set_sample_count(size_t) noexcept override { touched = true; }

    size_t frames_;
    uint32_t channels_;
    double samples_[64] = {};
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

TEST_CASE("a chunk too long for the pipe's counts fails like an exchange, and before anything is sized")
{
    const test_host host;
    fake_worker::use_for_launches();
    struct row {
        size_t frames;
        uint32_t channels;
    };
    std::vector<row> rows = {{0x20000000, 1}, {0x20000000, 2}, {0x10000000, 2}};
    if constexpr (sizeof(size_t) == 8) // the products wrap 64 bits as well
        rows.insert(rows.end(), {{static_cast<size_t>(uint64_t{1} << 61), 1}, {static_cast<size_t>(-1), 2}});
    std::vector<scenario> scenarios;
    for (const row& each : rows) {
        const std::string small = " 1:" + std::to_string(8 * each.channels);
        scenarios.push_back(
            {std::to_string(each.frames) + " x " + std::to_string(each.channels),
             "2:3 3:20" + small + " runtime_error: VST error" + small, [each] {
                 dsp_under_test test("connect\nserve");
                 const audio frame = {.channels = each.channels, .mask = 0, .frames = 1};
                 test.run(frame);
                 const std::string before = test.said();
                 vast_chunk_list vast(each.frames, each.channels);
                 const std::string failure = failure_of([&] { test.dsp->run(vast, nullptr, 0); });
                 test.run(frame); // nothing was sent for the other one
                 return before + " " + failure + (vast.touched ? " touched " : " ") + test.said();
             }});
    }
    cost_meter meter;
    const counters& cost = meter.of([&] { check_side_by_side(scenarios); }, everybody);
    CHECK(cost.largest >= 16384); // the buffer of an instance
    CHECK(cost.largest < 1000000);
}
