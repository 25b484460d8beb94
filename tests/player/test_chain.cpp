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

TEST_CASE("chain: the component follows the settings that the player stored")
{
    chain_fixture test;
    test.write("in.wav", noise(8000, 2, 6000));
    const std::vector<std::string> chain = {"--effect", chain_fixture::module("module_with_a_tail.vst3")};
    const auto tail = [&](const std::vector<std::string>& more) {
        std::vector<std::string> all = chain;
        all.insert(all.end(), more.begin(), more.end());
        test.render({"in.wav"}, all);
        CHECK(test.report["output"]["frames"] == 6000 + test.report["tailFrames"].get<size_t>());
        return test.report["tailFrames"].get<size_t>();
    };
    const auto settings = [&](const std::string& what) {
        const program_result result =
            test.run({"--config", test.folder.path("config.json"), "settings", what});
        CHECK(result.exit_code == 0);
        return result.out;
    };
    CHECK(tail({}) == 0);
    CHECK(tail({"--tail"}) == 4096); // for this run only
    CHECK(settings("process-tail") == "process-tail=off\n");
    CHECK(tail({}) == 0);
    CHECK(settings("process-tail=on") == "process-tail=on\n");
    CHECK(tail({}) == 4096);
    // As another program would have written it.
    const std::string path = test.folder.path("config.json");
    auto store = nlohmann::json::parse(player::read_whole_file(path, 1 << 20).value());
    REQUIRE(store.dump().find("17F04BF0-5745-462F-929C-E7F230F51F5A") != std::string::npos);
    CHECK(settings("process-tail=off") == "process-tail=off\n");
    CHECK(tail({}) == 0);
    const std::string text = store.dump();
    test.folder.write("config.json", {text.begin(), text.end()});
    CHECK(settings("process-tail") == "process-tail=on\n");
    CHECK(tail({}) == 4096);
}
