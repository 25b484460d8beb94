// What a DSP pays for somebody who listens and does not keep up.

#include "benches/figures.h"
#include "sdk/audio_chunk_impl.h"
#include "ui/listenerImpl.h"

namespace bench {

void feed_figures(const options& how)
{
    const std::string name = "hand-over to a full queue";
    if (!wanted(how, name))
        return;
    listenerImpl listener("effect");
    audio_chunk_impl_t chunk;
    chunk.set_data_size(2 * 4096);
    chunk.set_sample_rate(44100);
    chunk.set_channels(2, 3);
    chunk.set_sample_count(4096);
    for (size_t i = 0; i < chunkQueue::limit; ++i)
        feedAudioListener("effect", chunk, 1);
    constexpr int calls = 100000;
    print(measure(how, name, "us", 2, [&] {
        return time_of([&] {
                   for (int i = 0; i < calls; ++i)
                       feedAudioListener("effect", chunk, 1);
               }) /
               calls * 1e6;
    }));
}

} // namespace bench
