#include "sdk/audio_chunk_impl.h"
#include "sdk/dsp_chain_config_impl.h"
#include "sdk/dsp_chunk_list_impl.h"

#include <doctest/doctest.h>

TEST_CASE("a chunk's storage is aligned, keeps its samples when it grows and is copied to size")
{
    audio_chunk_impl_t chunk;
    CHECK(static_cast<const audio_chunk&>(chunk).get_data() == nullptr);
    chunk.set_data_size(4);
    for (int i = 0; i < 4; ++i)
        chunk.get_data()[i] = i + 1;
    chunk.set_data_size(1000);
    CHECK(reinterpret_cast<uintptr_t>(chunk.get_data()) % 16 == 0);
    CHECK(chunk.get_data()[3] == 4.0);
    CHECK_THROWS_AS(chunk.set_data_size(SIZE_MAX / 4), std::bad_alloc);
    CHECK(chunk.get_data()[0] == 1.0);

    chunk.set_channels(2, 3);
    chunk.set_sample_rate(44100);
    chunk.set_sample_count(2);
    audio_chunk_impl_t copy;
    copy.copy_from(chunk);
    CHECK(copy.get_data_size() == 4); // not the source's 1000
    CHECK(copy.get_data()[3] == 4.0);
    CHECK(copy.get_channel_config() == 3);
}

TEST_CASE("a chunk list inserts before an index, clamps to its end and hands out clean chunks again")
{
    dsp_chunk_list_impl list;
    audio_chunk* a = list.add_item();
    audio_chunk* c = list.insert_item(99, 16);
    audio_chunk* b = list.insert_item(1, 0);
    REQUIRE(list.get_count() == 3);
    CHECK(list.get_item(0) == a);
    CHECK(list.get_item(1) == b);
    CHECK(list.get_item(2) == c);
    CHECK(list.get_item(3) == nullptr);

    b->set_channels(2, 3);
    b->set_sample_rate(48000);
    b->set_sample_count(7);
    list.remove_by_index(1);
    list.remove_by_index(17);
    CHECK(list.get_item(1) == c);
    audio_chunk* again = list.add_item();
    CHECK_FALSE(again->is_valid());
    CHECK(again->get_data() == nullptr);
}

TEST_CASE("a chain keeps its order and refuses indexes outside of it")
{
    dsp_preset_impl one, two;
    one.set_data("1", 1);
    two.set_data("2", 1);
    dsp_chain_config_impl chain;
    chain.insert_item(two, 0);
    chain.insert_item(one, 0);
    CHECK(dsp_preset_impl(chain.get_item(0)) == one);
    chain.replace_item(two, 0);
    CHECK(dsp_preset_impl(chain.get_item(0)) == two);
    CHECK_THROWS_AS(chain.replace_item(one, 2), std::out_of_range);
    CHECK_THROWS_AS(chain.insert_item(one, 3), std::out_of_range);
    CHECK_THROWS_AS(chain.remove_item(2), std::out_of_range);
    chain.remove_item(0);
    CHECK(dsp_chain_config_impl(chain).get_count() == 1);
}
