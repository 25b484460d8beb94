#include "sdk/audio_chunk_impl.h"
#include "sdk/dsp_chain_config_impl.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/service.h"

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

namespace {

class animal : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {1, 0, 0, {}};
    virtual int legs() = 0;

protected:
    ~animal() = default;
};
class dog : public animal {
public:
    using parent = animal;
    static constexpr guid_t class_guid = {2, 0, 0, {}};

protected:
    ~dog() = default;
};
class dog_impl : public dog {
public:
    using service_interface = dog;
    explicit dog_impl(bool& alive)
        : alive_(alive)
    {
        alive_ = true;
    }
    ~dog_impl() { alive_ = false; }
    int legs() override { return 4; }

private:
    bool& alive_;
};

} // namespace

TEST_CASE("a service answers for its interface and the ones above it, and goes with its last reference")
{
    bool alive = false;
    service_ptr_t<dog_impl> made = service_new<dog_impl>(alive);
    auto as_animal = service_query_as<animal>(*made);
    REQUIRE(as_animal);
    CHECK(as_animal->legs() == 4);
    CHECK(service_query_as<dog>(*as_animal));
    CHECK(service_query_as<service_base>(*as_animal));
    service_base* none = made.get();
    CHECK_FALSE(made->service_query(none, {3, 0, 0, {}}));
    CHECK(none == nullptr);

    made.release();
    CHECK(alive);
    CHECK(as_animal->service_add_ref() == 2);
    CHECK(as_animal->service_release() == 1);
    as_animal = nullptr;
    CHECK_FALSE(alive);
}

TEST_CASE("a GUID's text is its fields in order, upper case, without braces")
{
    CHECK(guid_text({0x39951a96, 0xe318, 0x4ae1, {0xa0, 0x5a, 0xa6, 0xff, 0x2e, 0xd5, 0x77, 0x7d}}) ==
          "39951A96-E318-4AE1-A05A-A6FF2ED5777D");
}
