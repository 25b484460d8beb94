// What a chunk costs through the component, held against the bare pipe.

#include "benches/bare_pipe.h"
#include "benches/chunk_player.h"
#include "benches/direct_effect.h"
#include "benches/figures.h"
#include "win/utf.h"

#include <windows.h>

#include <psapi.h>

#include <memory>

namespace bench {

namespace {

std::string shape(size_t frames, uint32_t channels)
{
    return std::to_string(frames) + " x " + std::to_string(channels);
}

vstConfig_t answered_effect()
{
    return sample_effect("qvxGain.dll", true); // its module is never looked at
}

void answered_chunks(const options& how, loaded_component& component)
{
    use_workers_of(component, answering_folder());
    chunk_player player(component, answered_effect());
    bare_pipe bare;
    const auto one = [&](size_t frames, uint32_t channels, double goal) {
        const std::string name = "chunk, answered, " + shape(frames, channels);
        if (wanted(how, name))
            print(compare(
                how, name, goal, [&] { player.run(channels, frames); },
                [&] { bare.exchange(frames * channels * 8); }));
    };
    for (const uint32_t channels : {2u, 6u})
        for (const size_t frames : {64u, 441u, 1024u})
            one(frames, channels, 1.10);
    for (const uint32_t channels : {2u, 6u})
        for (const size_t frames : {4096u, 16384u})
            one(frames, channels, 1.02);
}

// An effect called in this process, on channels that lie apart already, as it likes them.
class direct_call {
public:
    direct_call(const char* file, size_t frames)
        : effect_(load_direct_effect(win::to_utf16(sample_effect(file, false).path)))
        , frames_(frames)
        , samples_(4 * frames)
        , in_{&samples_[0], &samples_[frames]}
        , out_{&samples_[2 * frames], &samples_[3 * frames]}
    {
        effect_->start(44100, static_cast<int>(frames), true);
    }
    void operator()() { effect_->process(in_, out_, static_cast<int>(frames_)); }

private:
    std::unique_ptr<direct_effect> effect_;
    size_t frames_;
    std::vector<double> samples_;
    const double* in_[2];
    double* out_[2];
};

void effect_chunks(const options& how, loaded_component& component)
{
    for (const char* const file : {"qvxGain.dll", "qvxGain.vst3"})
        for (const size_t frames : {441u, 4096u}) {
            const std::string name = std::string("chunk, ") + file + ", " + shape(frames, 2);
            if (!wanted(how, name))
                continue;
            use_workers_of(component, shipped_folder());
            chunk_player real(component, sample_effect(file, true));
            real.run(2, frames);
            use_workers_of(component, answering_folder());
            chunk_player answered(component, answered_effect());
            direct_call direct(file, frames);
            print(compare(
                how, name, 1.10, [&] { real.run(2, frames); },
                [&] {
                    answered.run(2, frames);
                    direct();
                }));
        }
}

// The clock of processor times is coarse, so this takes its figures over whole rounds.
void busy_time(const options& how, loaded_component& component)
{
    const std::string name = "worker's busy time, 4096 x 2";
    if (!wanted(how, name))
        return;
    constexpr size_t frames = 4096;
    constexpr int chunks = 3000;
    use_workers_of(component, shipped_folder());
    chunk_player player(component, sample_effect("qvxGain.dll", true));
    player.run(2, frames);
    const win::kernel_handle worker = chunk_player::only_worker(); // the bare pipe's peer looks like one
    bare_pipe bare;
    print(compare_measured(
        how, name, "us", 0.15,
        [&] {
            const double before = processor_seconds(worker.get());
            for (int i = 0; i < chunks; ++i)
                player.run(2, frames);
            const double worker_spent = processor_seconds(worker.get()) - before;
            const double peer = bare.peer_seconds();
            for (int i = 0; i < chunks; ++i)
                bare.exchange(frames * 16);
            return (worker_spent - (bare.peer_seconds() - peer)) / chunks * 1e6;
        },
        [&] {
            return time_of([&] {
                       for (int i = 0; i < chunks; ++i)
                           bare.exchange(frames * 16);
                   }) /
                   chunks * 1e6;
        }));
}

// Memory that is a process's alone, in KiB.
double private_memory(HANDLE process)
{
    PROCESS_MEMORY_COUNTERS_EX counters = {};
    if (!GetProcessMemoryInfo(process, reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                              sizeof counters))
        fail("no memory counters");
    // Not every system has every figure of another process.
    const SIZE_T bytes = counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.WorkingSetSize;
    if (bytes == 0)
        fail("memory counters of 0");
    return static_cast<double>(bytes) / 1024;
}

void growth(const options& how, loaded_component& component)
{
    constexpr int warm_up = 1000;
    constexpr int chunks = 100000;
    const std::string name = "growth over 100000 chunks";
    if (!how.with_growth || !wanted(how, name))
        return;
    use_workers_of(component, shipped_folder());
    chunk_player player(component, sample_effect("qvxGain.vst3", false));
    const auto play = [&](int count) {
        for (int i = 0; i < count; ++i)
            player.run(2, 441);
    };
    play(warm_up);
    const win::kernel_handle worker = chunk_player::only_worker();
    const HANDLE processes[] = {GetCurrentProcess(), worker.get()};
    const double before[] = {private_memory(processes[0]), private_memory(processes[1])};
    play(chunks);
    for (const int i : {0, 1}) {
        figure grown;
        grown.name = name + (i == 0 ? ", component" : ", worker");
        grown.unit = "KiB";
        grown.goal = 64;
        grown.value = grown.ratio = private_memory(processes[i]) - before[i];
        print(grown);
    }
}

void instances_in_turn(const options& how, loaded_component& component)
{
    constexpr size_t frames = 1024;
    use_workers_of(component, answering_folder());
    for (const size_t count : {1u, 2u, 4u, 8u, 16u}) {
        const std::string name = "instances in turn, " + std::to_string(count);
        if (!wanted(how, name))
            continue;
        std::vector<std::unique_ptr<chunk_player>> players;
        std::vector<std::unique_ptr<bare_pipe>> pipes;
        for (size_t i = 0; i < count; ++i) {
            players.push_back(std::make_unique<chunk_player>(component, answered_effect()));
            pipes.push_back(std::make_unique<bare_pipe>());
        }
        print(compare(
            how, name, 1.10,
            [&] {
                for (const auto& player : players)
                    player->run(2, frames);
            },
            [&] {
                for (const auto& pipe : pipes)
                    pipe->exchange(frames * 16);
            }));
    }
}

} // namespace

void chunk_figures(const options& how)
{
    loaded_component component;
    answered_chunks(how, component);
    effect_chunks(how, component);
    busy_time(how, component);
    instances_in_turn(how, component);
    growth(how, component);
}

} // namespace bench
