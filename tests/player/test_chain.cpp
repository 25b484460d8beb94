// What is heard through real workers: length, latency and content to the sample.

#include "chain_fixture.h"

#include "player/whole_file.h"
#include "support/test_options.h"

#include <doctest/doctest.h>

TEST_CASE("chain: a long render through two workers, tail on, is right to the sample")
{
    const size_t seconds = test_options::long_run() ? 600 : 20;
    chain_fixture test;
    const sound input = noise(44100, 2, seconds * 44100 + 17);
    test.write("in.wav", input);
    for (const two_effects& chain : mixed_chains()) {
        CAPTURE(chain.name);
        test.render({"in.wav"}, with(chain.arguments, {"--tail"}));
        const sound output = test.read("out.wav");
        REQUIRE(output.frames() > input.frames());
        const size_t tail = output.frames() - input.frames();
        CHECK(test.report["input"]["frames"] == input.frames());
        CHECK(test.report["output"]["frames"] == output.frames());
        CHECK(test.report["tailFrames"] == tail);
        CHECK(test.report["latencySeconds"] == 0.0);
        CHECK(first_difference(output.samples, halved(echoed_with_tail(input, tail)).samples) ==
              no_difference);
        CHECK(test.workers_started() == 2);
        MESSAGE(chain.name << ": " << test.report["seconds"].get<double>() << " s, tail " << tail
                           << " frames");
    }
}

TEST_CASE("chain: the size of chunks changes nothing, not a byte")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 30011);
    test.write("in.wav", input);
    const auto chain = mixed_chains().front().arguments;
    std::vector<uint8_t> first;
    for (const char* frames : {"64", "441", "4096", "100000"}) {
        CAPTURE(frames);
        test.render({"in.wav"}, with(chain, {"--tail", "--frames", frames}));
        const auto bytes = player::read_whole_file(test.folder.path("out.wav"), 100 << 20).value();
        if (first.empty())
            first = bytes;
        CHECK(bytes == first);
    }
    const sound output = test.read("out.wav");
    REQUIRE(output.frames() > input.frames());
    CHECK(first_difference(output.samples,
                           halved(echoed_with_tail(input, output.frames() - input.frames())).samples) ==
          no_difference);
}

TEST_CASE("chain: after a seek nothing of what was played before is heard")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 3 * 44100);
    test.write("in.wav", input);
    // Forward, and back to what was already played. The echo of the first chunk would come after 250 ms.
    const std::pair<const char*, size_t> places[] = {{"1.5", 66150}, {"0", 0}};
    for (size_t i = 0; i < 2; ++i) {
        const two_effects chain = mixed_chains()[i];
        const auto& [seconds, frame] = places[i];
        CAPTURE(chain.name);
        CAPTURE(seconds);
        test.render({"in.wav"}, with(chain.arguments, {"--seek", seconds}));
        sound expected = echoed(input.part(0, 4096));
        expected.append(echoed(input.part(frame, input.frames() - frame)));
        CHECK(first_difference(test.read("out.wav").samples, halved(expected).samples) == no_difference);
        CHECK(test.report["tailFrames"] == 0);
        CHECK(test.workers_started() == 2);
    }
}
