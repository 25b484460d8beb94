#include "vsthost/pe_image.h"
#include "vsthost/vst2/vst2_state.h"
#include "vsthost/vst3/vstpreset.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

using namespace vsthost;

namespace {

// 00112233-4455-6677-8899-AABBCCDDEEFF as it lies in memory.
constexpr class_id id{0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                      0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

std::vector<uint8_t> bytes(const std::string& text)
{
    return {text.begin(), text.end()};
}

template <class T>
void put(std::vector<uint8_t>& image, size_t offset, T value)
{
    std::memcpy(image.data() + offset, &value, sizeof value);
}

} // namespace

TEST_CASE("a VST 3 preset is written byte for byte in the file's form")
{
    const auto component = bytes("abcde");
    const auto controller = bytes("xy");
    const auto image = write_vstpreset({id, component, controller});
    const std::string expected = std::string("VST3\1\0\0\0", 8) + "00112233445566778899AABBCCDDEEFF" +
                                 std::string("\x37\0\0\0\0\0\0\0", 8) + "abcdexy" +
                                 std::string("List\2\0\0\0", 8) + "Comp" +
                                 std::string("\x30\0\0\0\0\0\0\0\5\0\0\0\0\0\0\0", 16) + "Cont" +
                                 std::string("\x35\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0", 16);
    CHECK(std::string(image.begin(), image.end()) == expected);

    const preset_result read = read_vstpreset(image);
    REQUIRE(read.preset);
    CHECK(read.preset->id == id);
    CHECK(std::ranges::equal(read.preset->component, component));
    REQUIRE(read.preset->controller);
    CHECK(std::ranges::equal(*read.preset->controller, controller));
    CHECK(class_id_from_text(class_id_text(id)) == id);
}

TEST_CASE("offsets, sizes and counts of a VST 3 preset are checked against the file")
{
    const auto component = bytes("abcde");
    const auto good = write_vstpreset({id, component, std::nullopt});
    for (const auto& whole : {good, write_vstpreset({id, component, component})})
        for (size_t length = 0; length < whole.size(); ++length)
            CHECK_FALSE(read_vstpreset(std::span(whole).first(length)).preset);
    const size_t list = 48 + component.size();
    constexpr auto huge = std::numeric_limits<int64_t>::max();
    const auto refused = [&](size_t offset, auto value) {
        auto image = good;
        put(image, offset, value);
        return !read_vstpreset(image).preset;
    };
    CHECK(refused(4, int32_t{2}));          // version
    CHECK(refused(8, 'G'));                 // class id
    CHECK(refused(40, huge));               // list
    CHECK(refused(40, int64_t{-1}));        //
    CHECK(refused(40, int64_t{0}));         // list inside the header
    CHECK(refused(list + 4, int32_t{-1}));  // count
    CHECK(refused(list + 4, int32_t{129})); //
    CHECK(refused(list + 4, int32_t{2}));   // more entries than there are
    CHECK(refused(list + 12, huge));        // a chunk's offset
    CHECK(refused(list + 20, huge));        // and size: their sum overflows
    CHECK(refused(list + 20, int64_t{-1})); //
    CHECK(refused(list + 8, uint32_t{0}));  // no component state at all
    CHECK_FALSE(refused(list + 20, int64_t{0}));
}

TEST_CASE("VST 2 states come back as they were written, chunks in the public form")
{
    const auto chunk = bytes("opaque");
    const auto bank = write_vst2_chunk(0x71767847, 1000, 16, 3, chunk);
    CHECK(std::string(bank.begin(), bank.begin() + 4) == "CcnK");
    CHECK(std::string(bank.begin() + 8, bank.begin() + 12) == "FBCh");
    CHECK(bank.size() == 160 + chunk.size());
    CHECK(bank[7] == bank.size() - 8);
    const auto read = read_vst2_state(bank);
    REQUIRE(read.state);
    CHECK(read.state->unique_id == 0x71767847);
    CHECK(read.state->program == 3);
    CHECK(read.state->is_chunk);
    CHECK(std::ranges::equal(read.state->chunk, chunk));

    const float values[] = {0.25f, 1.0f};
    const auto list = write_vst2_parameters(-5, 7, values);
    const auto again = read_vst2_state(list);
    REQUIRE(again.state);
    CHECK(again.state->unique_id == -5);
    CHECK(again.state->program == 7);
    CHECK_FALSE(again.state->is_chunk);
    CHECK(std::ranges::equal(again.state->parameters, values));

    for (const auto& image : {bank, list})
        for (size_t length = 0; length < image.size(); ++length) {
            CAPTURE(length);
            CHECK_FALSE(read_vst2_state(std::span(image).first(length)).state);
        }
    auto many = list;
    put(many, 16, uint32_t{0x40000002}); // times 4 that is 8
    CHECK_FALSE(read_vst2_state(many).state);
}

TEST_CASE("module headers are read within their bounds")
{
    CHECK_FALSE(pe_machine(bytes("MZ")));
    CHECK_FALSE(pe_machine(bytes("just a text that is long enough to hold a header of a module, or nearly")));
    std::vector<uint8_t> image(512);
    put(image, 0, uint16_t{0x5A4D});
    put(image, 0x3C, uint32_t{0x80});
    put(image, 0x80, uint32_t{0x4550});
    put(image, 0x84, uint16_t{0x8664});
    put(image, 0x86, uint16_t{1});
    put(image, 0x94, uint16_t{0xF0});
    put(image, 0x98, uint16_t{0x20B});
    put(image, 0x98 + 120, uint32_t{0x1000}); // import table
    put(image, 0x188 + 12, uint32_t{0x1000}); // one section at 0x1000
    put(image, 0x188 + 16, uint32_t{0x50});
    put(image, 0x188 + 20, uint32_t{0x1B0});
    put(image, 0x1B0 + 12, uint32_t{0x1030}); // name of the first import
    std::memcpy(image.data() + 0x1E0, "needed.dll", 11);
    CHECK(pe_machine(image) == machine_x64);
    CHECK(pe_imports(image) == std::vector<std::string>{"needed.dll"});
    put(image, 0x3C, uint32_t{0xFFFFFFFF});
    CHECK_FALSE(pe_machine(image));
    put(image, 0x3C, uint32_t{0x80});
    put(image, 0x1B0 + 12, uint32_t{0x104F}); // a name that runs to the end of the file
    put(image, 0x188 + 16, uint32_t{0xFFFFFFFF});
    CHECK(pe_imports(image).empty());
    CHECK(machine_name(0x1C4) == "machine type 0x1C4");
}
