#include "player/chain/live_chain.h"
#include "player/services/piece_cutter.h"
#include "sdk/dsp_chain_config_impl.h"
#include "support/chunks.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace player;

namespace {

constexpr guid_t first_owner{1, 0, 0, {}}, second_owner{2, 0, 0, {}};

// Text of a preset: what the DSP does. Its first character is the effect, which no live change replaces.
dsp_preset_impl preset(const std::string& text, const guid_t& owner = first_owner)
{
    dsp_preset_impl made;
    made.set_owner(owner);
    made.set_data(text.data(), text.size());
    return made;
}

std::string text_of(const dsp_preset& of)
{
    return {static_cast<const char*>(of.get_data()), of.get_data_size()};
}

} // namespace

TEST_CASE("live chain: a whole new list keeps the DSPs that it keeps")
{
    const struct {
        const char* wanted; // a preset each; upper case: of another owner
        const char* ids;    // of the DSPs then; the list was "abcd", 1 to 4
    } rows[] = {
        {"abcd", "1234"}, {"abxd", "1234"}, {"abd", "124"},   {"xabcd", "51234"}, {"abcdx", "12345"},
        {"", ""},         {"axyd", "1234"}, {"abXd", "1254"}, {"bcd", "234"},
    };
    for (const auto& row : rows) {
        CAPTURE(row.wanted);
        live_chain chain;
        for (const char c : std::string("abcd"))
            chain.add(preset(std::string(1, c)));
        chain.enable(3, false);
        dsp_chain_config_impl wanted;
        for (const char c : std::string(row.wanted))
            wanted.insert_item(preset(std::string(1, c), c < 'a' ? second_owner : first_owner),
                               wanted.get_count());
        chain.set_all(wanted);
        std::string texts, ids;
        for (const auto& slot : *chain.get()) {
            texts += text_of(slot->preset);
            ids += std::to_string(slot->id);
            CHECK(slot->enabled == (slot->id != 3));
        }
        CHECK(texts == row.wanted);
        CHECK(ids == row.ids);
    }
}

TEST_CASE("pieces of a stream: their length, a format that changes, intervals out of range")
{
    const std::pair<double, size_t> rows[] = {{0.01, 10}, {0.1, 100}, {0, 5},
                                              {-1, 5},    {50, 1000}, {std::nan(""), 5}};
    for (const auto& [seconds, frames] : rows) {
        piece_cutter cutter(seconds);
        std::vector<double> came, expected;
        std::vector<size_t> lengths;
        // Two whole ones and 7 frames, or what is left of them; the other format ends what was begun.
        for (const auto& [count, channels] :
             {std::pair<size_t, uint32_t>{7, 2}, {2 * frames, 2}, {frames, 1}}) {
            audio_chunk_impl_t chunk = chunk_of(0, count, channels, 0, 1000);
            double* const data = chunk.get_data();
            std::iota(data, data + count * channels, static_cast<double>(expected.size()));
            expected.insert(expected.end(), data, data + count * channels);
            for (size_t frame = 0; frame < count;) {
                if (!cutter.take(chunk, frame))
                    continue;
                const audio_chunk& piece = cutter.piece();
                lengths.push_back(piece.get_sample_count());
                came.insert(came.end(), piece.get_data(), piece.get_data() + piece.get_used_size());
            }
        }
        CHECK(came == expected); // nothing is lost, doubled or moved
        CHECK(std::ranges::count(lengths, frames) >= 3);
    }
}
