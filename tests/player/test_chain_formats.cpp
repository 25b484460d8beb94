// Latency, several formats in one stream and layouts through real workers, to the sample.

#include "chain_fixture.h"

#include <doctest/doctest.h>

TEST_CASE("chain: the latency of the chain is told in seconds, and its sound comes with the tail")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 60000);
    test.write("in.wav", input);
    for (const char* file :
         {"module_with_48000_samples_of_latency.vst3", "module_with_48000_samples_of_latency.dll"}) {
        CAPTURE(file);
        const std::vector<std::string> one = {"--effect", chain_fixture::module(file)};
        test.render({"in.wav"}, with(one, {"--tail"}));
        CHECK(test.report["latencySeconds"].get<double>() == 48000 / 44100.0);
        sound expected{44100, 2, {}};
        expected.append_silence(48000);
        expected.append(input);
        const sound output = test.read("out.wav");
        REQUIRE(output.frames() >= expected.frames());
        CHECK(output.frames() < expected.frames() + tail_block);
        expected.append_silence(output.frames() - expected.frames());
        CHECK(first_difference(output.samples, expected.samples) == no_difference);
    }
    // Through two of them; after a seek it is theirs again, and without --tail what they still hold is lost.
    test.render({"in.wav"},
                {"--effect", chain_fixture::module("module_with_48000_samples_of_latency.vst3"), "--effect",
                 chain_fixture::module("module_with_48000_samples_of_latency.dll"), "--seek", "1"});
    CHECK(test.report["latencySeconds"].get<double>() == 2 * (48000 / 44100.0));
    CHECK(test.read("out.wav").samples == std::vector<float>(2 * (4096 + 60000 - 44100), 0.0f));
}

TEST_CASE("chain: several inputs of different formats are one stream through the same workers")
{
    chain_fixture test;
    const sound a = noise(44100, 2, 20000, 1), b = noise(48000, 2, 30000, 2), c = noise(44100, 1, 25000, 3);
    test.write("a.wav", a);
    test.write("b.wav", b);
    test.write("c.wav", c);
    sound c_twice{44100, 2, {}}; // a stereo effect hears mono on both sides
    for (const float sample : c.samples)
        c_twice.samples.insert(c_twice.samples.end(), {sample, sample});

    for (const two_effects& chain : mixed_chains()) {
        CAPTURE(chain.name);
        test.render({"a.wav", "b.wav", "c.wav"}, chain.arguments);
        CHECK(test.workers_started() == 2);
        const sound outputs[] = {test.read("out.wav"), test.read("out-2.wav"), test.read("out-3.wav")};
        const sound inputs[] = {a, b, c_twice};
        for (size_t i = 0; i < 3; ++i) {
            CAPTURE(i);
            CHECK(outputs[i].rate == inputs[i].rate);
            CHECK(outputs[i].channels == 2);
            CHECK(first_difference(outputs[i].samples, halved(echoed(inputs[i])).samples) == no_difference);
        }
        CHECK_FALSE(test.exists("out-4.wav"));
        CHECK(test.report["moreOutputs"].size() == 2);

        // With the tail, each format's end rings out before the next one begins, in the layout of its input.
        test.render({"a.wav", "b.wav", "c.wav"}, with(chain.arguments, {"--tail"}));
        CHECK(test.workers_started() == 2);
        for (size_t i = 0; i < 2; ++i) {
            CAPTURE(i);
            const sound output = test.read(i == 0 ? "out.wav" : "out-2.wav");
            REQUIRE(output.frames() > inputs[i].frames());
            const size_t tail = output.frames() - inputs[i].frames();
            CHECK(first_difference(output.samples, halved(echoed_with_tail(inputs[i], tail)).samples) ==
                  no_difference);
        }
        const sound mono_tail = test.read("out-4.wav");
        CHECK(mono_tail.channels == 1);
        const sound whole = halved(echoed_with_tail(c_twice, mono_tail.frames()));
        CHECK(first_difference(test.read("out-3.wav").samples, whole.part(0, c.frames()).samples) ==
              no_difference);
        sound expected_tail{44100, 1, {}};
        for (size_t n = c.frames(); n < whole.frames(); ++n)
            expected_tail.samples.push_back(whole.samples[2 * n]);
        CHECK(first_difference(mono_tail.samples, expected_tail.samples) == no_difference);
        CHECK(test.report["moreOutputs"].size() == 3);
        for (const char* name : {"out.wav", "out-2.wav", "out-3.wav", "out-4.wav"})
            DeleteFileW(win::to_utf16(test.folder.path(name)).c_str());
    }
}

TEST_CASE("chain: an output layout is kept whatever the effect gives; channels that it lacks are silent")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 10000);
    test.write("in.wav", input);
    const std::string six = chain_fixture::module("module_with_two_inputs_and_six_outputs.vst3");
    struct row {
        std::string effect;
        std::vector<std::string> more;
        uint32_t channels, mask;
        size_t filled; // channels with sound: channel n holds input channel n modulo 2
        float factor;
    };
    for (const row& each :
         {row{chain_fixture::effect("qvxGain.vst3", "x64"), {"--layout", "5.1"}, 6, 0x3F, 2, 0.5f},
          row{chain_fixture::effect("qvxGain.dll", "x86"), {"--layout", "5.1"}, 6, 0x3F, 2, 0.5f},
          row{six, {"--layout", "5.1"}, 6, 0x3F, 6, 1}, row{six, {"--layout", "2.1"}, 3, 0xB, 3, 1}}) {
        CAPTURE(each.effect);
        CAPTURE(each.mask);
        test.render({"in.wav"}, with({"--effect", each.effect}, each.more));
        const sound output = test.read("out.wav");
        REQUIRE(output.channels == each.channels);
        CHECK(test.mask_of("out.wav") == each.mask);
        REQUIRE(output.frames() == input.frames());
        size_t wrong = 0;
        for (size_t i = 0; i < output.samples.size(); ++i) {
            const size_t frame = i / each.channels, channel = i % each.channels;
            const float want =
                channel < each.filled ? each.factor * input.samples[frame * 2 + channel % 2] : 0;
            wrong += output.samples[i] != want;
        }
        CHECK(wrong == 0);
    }
}
