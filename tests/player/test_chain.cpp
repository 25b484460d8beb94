// What is heard through real workers: length and content to the sample; and that the component follows the
// settings that the player stores.

#include "chain_fixture.h"

#include "player/system/whole_file.h"
#include "support/test_options.h"

#include <doctest/doctest.h>

TEST_CASE("chain: a long render through two workers, tail on, is right to the sample")
{
    const size_t seconds = test_options::long_run() ? 600 : 20;
    chain_fixture test;
    const sound input = noise(44100, 2, seconds * 44100 + 17);
    test.write("in.wav", input);
    for (const strings& chain : mixed_chains()) {
        CAPTURE(chain[1]);
        const sound output = test.render({"in.wav"}, with(chain, {"--tail"}));
        check_echoed_with_tail(input, output);
        CHECK(test.report["input"]["frames"] == input.frames());
        CHECK(test.report["output"]["frames"] == output.frames());
        CHECK(test.report["tailFrames"] == output.frames() - input.frames());
        CHECK(test.report["latencySeconds"] == 0.0);
        CHECK(test.workers_started() == 2);
        MESSAGE(chain[1] << ": " << test.report["seconds"].get<double>() << " s");
    }
}

TEST_CASE("chain: the size of chunks changes nothing, not a byte")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 30011);
    test.write("in.wav", input);
    std::vector<uint8_t> first;
    for (const char* frames : {"64", "441", "4096", "100000"}) {
        CAPTURE(frames);
        check_echoed_with_tail(
            input, test.render({"in.wav"}, with(mixed_chains()[0], {"--tail", "--frames", frames})));
        const auto bytes = player::read_whole_file(test.folder.path("out.wav"), 100 << 20).value();
        if (first.empty())
            first = bytes;
        CHECK(bytes == first);
    }
}

TEST_CASE("chain: after a seek nothing of what was played before is heard")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 3 * 44100);
    test.write("in.wav", input);
    // Forward, and back to what was already played. The echo of the first chunk would come after 250 ms.
    const std::pair<const char*, size_t> places[] = {{"1.5", 66150}, {"0", 0}};
    for (size_t i = 0; i < 2; ++i) {
        const size_t frame = places[i].second;
        CAPTURE(frame);
        const sound output = test.render({"in.wav"}, with(mixed_chains()[i], {"--seek", places[i].first}));
        sound expected = echoed(input.part(0, 4096));
        expected.append(echoed(input.part(frame, input.frames() - frame)));
        CHECK(first_difference(output, halved(expected)) == no_difference);
        CHECK(test.report["tailFrames"] == 0);
        CHECK(test.workers_started() == 2);
    }
}

TEST_CASE("chain: the component follows the settings that the player stored")
{
    chain_fixture test;
    test.write("in.wav", noise(8000, 2, 6000));
    const auto tail = [&](const strings& more) {
        const sound output =
            test.render({"in.wav"}, with({"--effect", test_module("module_with_a_tail.vst3")}, more));
        CHECK(test.report["tailFrames"] == output.frames() - 6000);
        return output.frames() - 6000;
    };
    const auto settings = [&](const std::string& what) { return test.run({"settings", what}).out; };
    CHECK(tail({}) == 0);
    CHECK(tail({"--tail"}) == 4096); // for this run only
    CHECK(settings("process-tail") == "process-tail=off\n");
    CHECK(settings("process-tail=on") == "process-tail=on\n");
    CHECK(tail({}) == 4096);
    // As another program would have written it.
    const std::string path = test.folder.path("config.json");
    const std::string text = nlohmann::json::parse(player::read_whole_file(path, 1 << 20).value()).dump();
    REQUIRE(text.find("17F04BF0-5745-462F-929C-E7F230F51F5A") != std::string::npos);
    CHECK(settings("process-tail=off") == "process-tail=off\n");
    CHECK(tail({}) == 0);
    test.folder.write("config.json", {text.begin(), text.end()});
    CHECK(tail({}) == 4096);
}
