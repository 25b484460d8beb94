// How long the first chunk takes: a worker's start, its connection, state, format and the chunk itself.

#include "benches/bare_pipe.h"
#include "benches/chunk_player.h"
#include "benches/direct_effect.h"
#include "benches/figures.h"
#include "win/utf.h"

#include <windows.h>

namespace bench {

namespace {

void start_baseline()
{
    const started_peer peer(own_folder() + L"start_baseline.exe", L"");
    char ready = 0;
    peer.read(&ready, 1);
}

} // namespace

void start_figures(const options& how)
{
    const std::string name = "first chunk, less the module's load";
    if (!wanted(how, name))
        return;
    loaded_component component;
    use_workers_of(component, shipped_folder());
    print(compare_measured(
        how, name, "ms", 1.3,
        [&] {
            double load = 0;
            {
                std::unique_ptr<direct_effect> loaded;
                const std::wstring path = win::to_utf16(sample_effect("qvxGain.vst3", false).path);
                load = time_of([&] { loaded = load_direct_effect(path); });
            }
            double whole = 0;
            {
                std::unique_ptr<chunk_player> player;
                whole = time_of([&] {
                    player = std::make_unique<chunk_player>(component, sample_effect("qvxGain.vst3", false));
                    player->run(2, 441);
                });
            }
            return (whole - load) * 1e3;
        },
        [] { return time_of(start_baseline) * 1e3; }));
}

} // namespace bench
