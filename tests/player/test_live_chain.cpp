#include "player/chain_runner.h"
#include "player/services/piece_cutter.h"
#include "sdk/dsp_chain_config_impl.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/dsp_impl_base.h"
#include "sdk/exceptions.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
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

// Writes down what it lives through; "!" anywhere in its preset makes it fail.
class noting_dsp : public dsp_v3 {
public:
    using service_interface = dsp_v3;
    noting_dsp(const dsp_preset& made_of, std::string& log)
        : text_(text_of(made_of))
        , log_(log)
    {
        if (text_.find('?') != std::string::npos)
            throw std::runtime_error("cannot be made");
        log_ += "+" + text_ + " ";
    }
    ~noting_dsp() { log_ += "-" + text_ + " "; }
    void run(dsp_chunk_list&, service_base*, uint32_t) override {}
    void run_abortable(dsp_chunk_list&, service_base*, uint32_t, abort_callback&) override
    {
        if (text_.find('!') != std::string::npos)
            throw std::runtime_error("broke");
        log_ += text_ + " ";
    }
    void flush() override { log_ += "flush "; }
    double get_latency() const override { return 0.5; }
    bool need_track_change_mark() const override { return false; }
    bool apply_preset(const dsp_preset& next) override
    {
        if (text_of(next).front() != text_.front())
            return false;
        text_ = text_of(next);
        log_ += "=" + text_ + " ";
        return true;
    }

private:
    std::string text_;
    std::string& log_;
};

class token : public abort_callback {
public:
    bool is_aborting() const noexcept override { return set; }
    void* get_abort_event() const noexcept override { return nullptr; }
    bool set = false;
};

struct playing_chain {
    // What one run logs.
    std::string run()
    {
        log.clear();
        dsp_chunk_list_impl chunks;
        runner.run(chunks, 0, abort);
        return log;
    }

    std::string log;
    token abort;
    live_chain chain;
    chain_runner runner{chain, [this](const dsp_preset& made_of) {
                            return service_ptr_t<dsp_v2>(service_new<noting_dsp>(made_of, log));
                        }};
};

} // namespace

TEST_CASE("live chain: a run takes over what was edited, and only rebuilds what cannot change")
{
    playing_chain test;
    CHECK(test.run().empty());
    const uint64_t a = test.chain.add(preset("a1")), b = test.chain.add(preset("b1"));
    CHECK(test.run() == "+a1 +b1 a1 b1 ");
    CHECK(test.run() == "a1 b1 ");
    CHECK(test.runner.latency() == 1.0);
    test.chain.set_preset(a, preset("a2"));
    CHECK(test.run() == "=a2 a2 b1 ");
    test.chain.set_preset(a, preset("c1")); // another effect in its place
    CHECK(test.run() == "-a2 +c1 c1 b1 ");
    test.chain.move(a, 7);
    CHECK(test.run() == "b1 c1 ");
    test.chain.enable(b, false);
    CHECK(test.run() == "-b1 c1 ");
    test.chain.enable(b, true);
    test.chain.remove(a);
    CHECK(test.run() == "+b1 -c1 b1 ");
    for (const uint64_t gone : {a, uint64_t{99}}) {
        test.chain.remove(gone);
        test.chain.set_preset(gone, preset("x"));
    }
    test.log.clear();
    test.runner.flush();
    test.runner.release();
    CHECK(test.log == "flush -b1 ");
    CHECK(test.run() == "+b1 b1 ");
}

TEST_CASE("live chain: a DSP that fails is named and made anew by the next run, the others play on")
{
    playing_chain test;
    const uint64_t a = test.chain.add(preset("a")), b = test.chain.add(preset("b"));
    test.run();
    const struct {
        const char* text;
        const char* reason;
        const char* after;
    } rows[] = {
        {"b!", "broke", "+b a b "},          // in its run
        {"c?", "cannot be made", "+b a b "}, // while it is made
    };
    for (const auto& row : rows) {
        CAPTURE(row.text);
        test.chain.set_preset(b, preset(row.text));
        try {
            test.run();
            FAIL("no failure");
        } catch (const dsp_failure& failure) {
            CHECK(failure.slot == b);
            CHECK(failure.what() == std::string(row.reason));
        }
        test.chain.set_preset(b, preset("b"));
        CHECK(test.run() == row.after);
    }
    // What an abort breaks is no failure.
    test.chain.set_preset(a, preset("a!"));
    test.abort.set = true;
    CHECK_THROWS_AS(test.run(), exception_aborted);
}

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
    const struct {
        double seconds;
        size_t frames;
    } rows[] = {{0.01, 10}, {0.1, 100}, {0, 5},
                {-1, 5},    {50, 1000}, {std::numeric_limits<double>::quiet_NaN(), 5}};
    for (const auto& row : rows) {
        CAPTURE(row.seconds);
        piece_cutter cutter(row.seconds);
        std::vector<double> came;
        std::vector<size_t> lengths;
        double next = 0;
        const auto feed = [&](size_t frames, uint32_t channels) {
            audio_chunk_impl_t chunk;
            chunk.set_data_size(frames * channels);
            chunk.set_sample_rate(1000);
            chunk.set_channels(channels, 0);
            chunk.set_sample_count(frames);
            std::iota(chunk.get_data(), chunk.get_data() + frames * channels, next);
            next += static_cast<double>(frames * channels);
            for (size_t frame = 0; frame < frames;) {
                if (!cutter.take(chunk, frame))
                    continue;
                const audio_chunk& piece = cutter.piece();
                lengths.push_back(piece.get_sample_count());
                came.insert(came.end(), piece.get_data(), piece.get_data() + piece.get_used_size());
            }
        };
        feed(7, 2);
        feed(2 * row.frames, 2); // two whole ones and 7 frames, or what is left of them
        feed(row.frames, 1);     // the other format ends what was begun
        std::vector<double> expected(came.size());
        std::iota(expected.begin(), expected.end(), 0.0);
        CHECK(came == expected); // nothing is lost, doubled or moved
        CHECK(came.size() == 14 + 5 * row.frames);
        CHECK(std::count(lengths.begin(), lengths.end(), row.frames) >= 3);
    }
}
