// Latency, several formats in one stream and layouts through real workers, to the sample.

#include "chain_fixture.h"

#include <doctest/doctest.h>

TEST_CASE("chain: the latency of the chain is told in seconds, and its sound comes with the tail")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 60000);
    test.write("in.wav", input);
    const std::string modules[] = {test_module("module_with_48000_samples_of_latency.vst3"),
                                   test_module("module_with_48000_samples_of_latency.dll")};
    for (const std::string& module : modules) {
        CAPTURE(module);
        const sound output = test.render({"in.wav"}, {"--effect", module, "--tail"});
        CHECK(test.report["latencySeconds"].get<double>() == 48000 / 44100.0);
        sound expected{44100, 2, {}};
        expected.append_silence(48000);
        expected.append(input);
        REQUIRE(output.frames() >= expected.frames());
        CHECK(output.frames() < expected.frames() + tail_block);
        expected.append_silence(output.frames() - expected.frames());
        CHECK(first_difference(output, expected) == no_difference);
    }
    // Through two of them; after a seek it is theirs again, and without --tail what they still hold is lost.
    const sound output =
        test.render({"in.wav"}, {"--effect", modules[0], "--effect", modules[1], "--seek", "1"});
    CHECK(test.report["latencySeconds"].get<double>() == 2 * (48000 / 44100.0));
    CHECK(output.samples == std::vector<float>(2 * (4096 + 60000 - 44100), 0.0f));
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
    const sound inputs[] = {a, b, c_twice};

    for (const strings& chain : mixed_chains()) {
        CAPTURE(chain[1]);
        test.render({"a.wav", "b.wav", "c.wav"}, chain);
        CHECK(test.workers_started() == 2);
        const char* const outputs[] = {"out.wav", "out-2.wav", "out-3.wav"};
        for (size_t i = 0; i < 3; ++i) {
            CAPTURE(i);
            const sound output = test.read(outputs[i]);
            CHECK(output.rate == inputs[i].rate);
            CHECK(output.channels == 2);
            CHECK(first_difference(output, halved(echoed(inputs[i]))) == no_difference);
        }
        CHECK(test.report["moreOutputs"].size() == 2);

        // With the tail, each format's end rings out before the next one begins, in the layout of its input.
        check_echoed_with_tail(a, test.render({"a.wav", "b.wav", "c.wav"}, with(chain, {"--tail"})));
        check_echoed_with_tail(b, test.read("out-2.wav"));
        CHECK(test.workers_started() == 2);
        sound stereo = test.read("out-3.wav");
        const sound mono_tail = test.read("out-4.wav");
        CHECK(stereo.frames() == c.frames());
        CHECK(mono_tail.channels == 1);
        for (const float sample : mono_tail.samples)
            stereo.samples.insert(stereo.samples.end(), {sample, sample});
        check_echoed_with_tail(c_twice, stereo);
        CHECK(test.report["moreOutputs"].size() == 3);
    }
}

TEST_CASE("chain: an output layout is kept whatever the effect gives; channels that it lacks are silent")
{
    chain_fixture test;
    const sound input = noise(44100, 2, 10000);
    test.write("in.wav", input);
    const std::string six = test_module("module_with_two_inputs_and_six_outputs.vst3");
    struct row {
        std::string module;
        const char* layout;
        uint32_t channels, mask;
        size_t filled; // channels with sound: channel n holds input channel n modulo 2
        float factor;
    };
    for (const row& each : {row{shipped_effect("qvxGain.vst3", "x64"), "5.1", 6, 0x3F, 2, 0.5f},
                            row{shipped_effect("qvxGain.dll", "x86"), "5.1", 6, 0x3F, 2, 0.5f},
                            row{six, "5.1", 6, 0x3F, 6, 1}, row{six, "2.1", 3, 0xB, 3, 1}}) {
        CAPTURE(each.module);
        CAPTURE(each.mask);
        test.render({"in.wav"}, {"--effect", each.module, "--layout", each.layout});
        uint32_t mask = 0;
        const sound output = test.read("out.wav", &mask);
        CHECK(mask == each.mask);
        sound expected{44100, each.channels, {}};
        for (size_t i = 0; i < input.frames() * each.channels; ++i) {
            const size_t frame = i / each.channels, channel = i % each.channels;
            expected.samples.push_back(
                channel < each.filled ? each.factor * input.samples[frame * 2 + channel % 2] : 0);
        }
        CHECK(output.channels == each.channels);
        CHECK(first_difference(output, expected) == no_difference);
    }
}
