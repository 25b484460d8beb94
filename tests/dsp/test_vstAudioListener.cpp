#include "dsp/vstAudioListener.h"

#include "dsp_under_test.h"

#include "support/test_host.h"
#include "worker/startWorker.h"

#include <doctest/doctest.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace {

class ear final : public vstAudioListener {
public:
    explicit ear(const std::string& path)
        : vstAudioListener(path)
    {
    }
    void onAudio(const audio_chunk& chunk, uint64_t serial) noexcept override
    {
        const std::lock_guard lock(mutex_); // several instances may feed at once
        last.copy_from(chunk);
        last_serial = serial;
        ++heard;
    }

    audio_chunk_impl_t last;
    uint64_t last_serial = 0;
    std::atomic<unsigned> heard{0};

private:
    std::mutex mutex_;
    registration registration_{*this};
};

const audio stereo;

} // namespace

TEST_CASE("a chunk goes as it came to the first listener of its effect, with the instance's number")
{
    const test_host host;
    fake_worker::use_for_launches();
    const char* const script = "connect\nformat = = = 1 0\naudio 0.5 0\nserve";
    dsp_under_test one(script), another(script);
    ear ears[] = {ear(one.config.path), ear("x"), ear(one.config.path + "x"), ear(one.config.path)};

    CHECK(one.run(stereo) == "");
    CHECK(one.run({.frames = 2, .first = 50}) == "");
    CHECK(ears[0].heard == 2);
    CHECK(ears[1].heard + ears[2].heard + ears[3].heard == 0);
    CHECK(ears[0].last.get_channel_count() == 2); // not what the worker made of it
    CHECK(ears[0].last.get_sample_count() == 2);
    CHECK(ears[0].last.get_data()[3] == 53);

    ear other(another.config.path);
    CHECK(another.run(stereo) == "");
    CHECK(other.heard == 1);
    CHECK(other.last_serial > ears[0].last_serial);
    const uint64_t serial = other.last_serial;
    another.dsp->flush();
    CHECK(another.run(stereo) == "");
    CHECK(other.last_serial == serial);
}
