#include "vsthost/audio_io.h"
#include "vsthost/layout.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <limits>

using namespace vsthost;

TEST_CASE("masks and arrangements name the same speakers")
{
    CHECK(to_arrangement({1, 0x4}) == 1u << 19);
    CHECK(to_arrangement({2, 0x3}) == 0x3);
    CHECK(to_arrangement({6, 0}) == 0x3F);
    CHECK(to_arrangement({6, 0x3}) == 0x3F); // a mask of another count
    CHECK(to_arrangement({10, 0}) == 0x3FF);
    CHECK(to_arrangement_type({7, 0x13F}) == 18);
    CHECK(to_arrangement_type({7, 0x70F}) == -2); // its back centre stands before the sides
    CHECK(from_arrangement(1u << 19) == channel_layout{1, 0x4});
    CHECK(from_arrangement(uint64_t{3} << 20) == channel_layout{2, 0});
}

TEST_CASE("the ladder goes from the request over other names for it down to mono, each step once")
{
    const bus_pair stereo{{2, 0x3}, {2, 0x3}};
    const bus_pair mono{{1, 0x4}, {1, 0x4}};
    CHECK(arrangement_ladder(stereo, stereo) == std::vector<bus_pair>{stereo, mono});

    const bus_pair side{{6, 0x60F}, {6, 0x60F}};
    const bus_pair back{{6, 0x3F}, {6, 0x3F}};
    CHECK(arrangement_ladder(side, stereo) == std::vector<bus_pair>{side, back, stereo, mono});

    CHECK(fit(stereo, stereo) == 3);
    CHECK(fit(stereo, {{2, 0x3}, {6, 0x3F}}) == 2);
    CHECK(fit(mono, stereo) == 1);
    CHECK(fit(stereo, mono) == 0);
}

TEST_CASE("a tail finds its way back into the layout of the input")
{
    const auto from = [](channel_layout output, channel_layout input, uint32_t channel) {
        return tail_sources(output, input)[channel];
    };
    CHECK(from({2, 0x3}, {2, 0x3}, 1).first == 1u);
    CHECK(from({2, 0x3}, {1, 0x4}, 0).first == 0u);
    CHECK(from({2, 0x3}, {1, 0x4}, 0).second == 1u);
    CHECK(from({1, 0x4}, {2, 0x3}, 1).first == 0u);
    CHECK_FALSE(from({1, 0x4}, {6, 0x3F}, 2).first);
    // Stereo output of a 5.1 input: front left and right, the rest silent.
    CHECK(from({2, 0x3}, {6, 0x3F}, 1).first == 1u);
    CHECK_FALSE(from({2, 0x3}, {6, 0x3F}, 2).first);
    // By speaker, not by position: the back pair of 5.1 is channel 4 and 5, of quad 2 and 3.
    CHECK(from({6, 0x3F}, {4, 0x33}, 2).first == 4u);
    CHECK(tail_sources({0, 0}, {2, 0x3}).size() == 2);
}

TEST_CASE("samples keep their place and their value; what is no number is silence")
{
    for (const bool is_double : {false, true}) {
        audio_io io;
        io.allocate(is_double, 2, 1, 2, 4);
        const double in[] = {1, 2, 3, 4, 5, 6};
        io.load(in, 2, 3);
        CHECK(io.in_silence == 4); // the side channel
        for (size_t c = 0; c < 2; ++c)
            if (is_double)
                std::copy_n(io.in64()[c], 3, io.out64()[c]);
            else
                std::copy_n(io.in32()[c], 3, io.out32()[c]);
        double out[9];
        CHECK(io.store(out, 3, 3) == 0);
        const double expected[] = {1, 2, 0, 3, 4, 0, 5, 6, 0};
        CHECK(std::equal(out, out + 9, expected));

        if (is_double)
            io.out64()[1][0] = std::numeric_limits<double>::infinity();
        else
            io.out32()[1][0] = std::numeric_limits<float>::quiet_NaN();
        CHECK(io.store(out, 3, 3) == 1);
        CHECK(out[1] == 0.0);

        io.out_silence = 1; // flagged, whatever the buffer holds
        io.store(out, 3, 3);
        CHECK(out[0] == 0.0);
        CHECK(out[4] == 4.0);
    }
}

TEST_CASE("one channel feeds both main inputs of the effect and no side chain")
{
    audio_io io;
    io.allocate(false, 2, 1, 2, 4);
    const double in[] = {0.25, 0.5};
    io.load(in, 1, 2);
    CHECK(io.in32()[0][1] == 0.5f);
    CHECK(io.in32()[1][1] == 0.5f);
    CHECK(io.in32()[2][1] == 0.0f);
    CHECK(io.in_silence == 4);
}
