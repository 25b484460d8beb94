#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/dsp_impl_base.h"
#include "sdk/exceptions.h"

#include <doctest/doctest.h>

#include <string>

namespace {

// Records what the base asks of it; chunks are told apart by their sample rate.
class recording_dsp : public dsp_impl_base_t<dsp_v3> {
public:
    using service_interface = dsp_v3;

    std::string log;
    uint32_t insert_before = 0; // rate of the chunk in front of which one with rate 9 goes in
    uint32_t refuse = 0;
    uint32_t throw_at = 0;
    bool wants_mark = false;

    void flush() override {}
    double get_latency() const override { return 0; }
    bool need_track_change_mark() const override { return wants_mark; }
    bool apply_preset(const dsp_preset&) override { return false; }

protected:
    void on_end_of_track(abort_callback&) override { log += "T"; }
    void on_end_of_playback(abort_callback&) override
    {
        log += "P";
        insert(8);
    }
    bool on_chunk(audio_chunk& chunk, abort_callback&) override
    {
        const uint32_t rate = chunk.get_sample_rate();
        if (rate == throw_at)
            throw exception_io_data();
        log += std::to_string(rate);
        if (rate == insert_before)
            insert(9);
        return rate != refuse;
    }

private:
    void insert(uint32_t rate)
    {
        audio_chunk& chunk = insert_chunk(2);
        chunk.set_sample_rate(rate);
        chunk.set_channels(1, 4);
        chunk.set_sample_count(1);
    }
};

void fill(dsp_chunk_list_impl& list, std::initializer_list<uint32_t> rates)
{
    for (const uint32_t rate : rates) {
        audio_chunk* chunk = list.add_item();
        chunk->set_sample_rate(rate);
        chunk->set_channels(1, 4);
        chunk->set_sample_count(rate ? 1 : 0); // rate 0: an empty chunk
    }
}

std::string rates(dsp_chunk_list_impl& list)
{
    std::string text;
    for (size_t i = 0; i < list.get_count(); ++i)
        text += std::to_string(list.get_item(i)->get_sample_rate());
    return text;
}

} // namespace

TEST_CASE("the walk drops empty and refused chunks and steps over inserted ones")
{
    const auto dsp = service_new<recording_dsp>();
    dsp_chunk_list_impl list;
    fill(list, {0, 1, 0, 2, 3});
    dsp->insert_before = 2;
    dsp->refuse = 3;
    dsp->run(list, nullptr, 0);
    CHECK(dsp->log == "123");
    CHECK(rates(list) == "192");
}

TEST_CASE("end of playback comes before end of track, which needs the mark; what it inserts comes last")
{
    const auto dsp = service_new<recording_dsp>();
    dsp_chunk_list_impl list;
    fill(list, {1});
    dsp->run(list, nullptr, dsp_flag_end_of_track);
    CHECK(dsp->log == "1");
    dsp->wants_mark = true;
    dsp->run(list, nullptr, dsp_flag_end_of_track);
    CHECK(dsp->log == "11T");
    dsp->run(list, nullptr, dsp_flag_end_of_track | dsp_flag_end_of_playback);
    CHECK(dsp->log == "11T1P");
    CHECK(rates(list) == "18");
}

TEST_CASE("a hook that throws leaves the base without the old list")
{
    const auto dsp = service_new<recording_dsp>();
    {
        dsp_chunk_list_impl list;
        fill(list, {1, 2});
        dsp->throw_at = 2;
        CHECK_THROWS_AS(dsp->run(list, nullptr, 0), exception_io_data);
    }
    dsp_chunk_list_impl next;
    dsp->run(next, nullptr, dsp_flag_end_of_playback);
    CHECK(rates(next) == "8");
}
