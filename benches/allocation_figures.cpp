// What a warm chunk takes from the heap: in the component's calls, counted at the imports of its module and
// of the runtime, and on the worker's audio thread, counted by the module that it runs.

#include "benches/bare_pipe.h"
#include "benches/chunk_player.h"
#include "benches/figures.h"
#include "support/patched_import.h"
#include "win/utf.h"

#include <windows.h>

#include <cstdlib>
#include <list>
#include <malloc.h>

namespace bench {

namespace {

DWORD counting_thread = 0; // read by others, who are never it
unsigned counted = 0;
decltype(&std::malloc) real_malloc = nullptr;
decltype(&_aligned_malloc) real_aligned_malloc = nullptr;

void* counting_malloc(size_t size)
{
    counted += counting_thread == GetCurrentThreadId();
    return real_malloc(size);
}
void* counting_aligned_malloc(size_t size, size_t alignment)
{
    counted += counting_thread == GetCurrentThreadId();
    return real_aligned_malloc(size, alignment);
}

template <class Function>
void take(Function& real, const char* name)
{
    real = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), name)));
}

void in_the_component(const options& how, loaded_component& component)
{
    const std::string name = "allocations a chunk, component, 4096 x 2";
    if (!wanted(how, name))
        return;
    take(real_malloc, "malloc");
    take(real_aligned_malloc, "_aligned_malloc");
    std::list<patched_import> hooks;
    for (void* const module : {component.module, static_cast<void*>(GetModuleHandleW(L"libstdc++-6.dll"))}) {
        if (patched_import::is_imported("malloc", module))
            hooks.emplace_back("malloc", reinterpret_cast<void*>(&counting_malloc), module);
        if (patched_import::is_imported("_aligned_malloc", module))
            hooks.emplace_back("_aligned_malloc", reinterpret_cast<void*>(&counting_aligned_malloc), module);
    }
    use_workers_of(component, shipped_folder());
    chunk_player player(component, sample_effect("qvxGain.vst3", true));
    const auto count = [&player] {
        counted = 0;
        counting_thread = GetCurrentThreadId();
        player.run(2, 4096);
        counting_thread = 0;
        return static_cast<double>(counted);
    };
    if (count() == 0) // the first one starts a worker
        throw std::runtime_error("allocations are not seen");
    print(measure(how, name, "", 0, count));
}

void in_the_worker(const options& how, loaded_component& component)
{
    for (const char* const file :
         {"module_that_counts_allocations.dll", "module_that_counts_allocations.vst3"}) {
        const bool is_vst3 = std::string(file).ends_with(".vst3");
        const std::string name = std::string("allocations a chunk, worker, VST ") + (is_vst3 ? "3" : "2");
        if (!wanted(how, name))
            continue;
        vstConfig_t effect = sample_effect(file, false);
        effect.path = win::to_utf8(own_folder() + L"..\\..\\tests\\bin\\modules\\" + win::to_utf16(file));
        use_workers_of(component, shipped_folder());
        chunk_player player(component, effect);
        player.run(2, 4096); // buffers are made
        if (player.loudest() == 0)
            throw std::runtime_error("allocations of a worker are not seen");
        print(measure(how, name, "", 0, [&player] {
            player.run(2, 4096);
            return player.loudest();
        }));
    }
}

} // namespace

void allocation_figures(const options& how)
{
    loaded_component component;
    in_the_component(how, component);
    in_the_worker(how, component);
}

} // namespace bench
