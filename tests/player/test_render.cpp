// Renders through DSPs of the test's own, so that formats, failures and aborts come when they are wanted.

#include "player/render.h"

#include "catalogue/vstConfig.h"
#include "player/component_settings.h"
#include "player/json_config_store.h"
#include "player/os_path.h"
#include "player/player_error.h"
#include "player/player_host.h"
#include "player/wav_file.h"
#include "sdk/dsp_entry_impl.h"
#include "sdk/dsp_impl_base.h"
#include "support/temp_folder.h"

#include <doctest/doctest.h>

using namespace player;

namespace {

// What the DSPs of a case are to do, and what they saw. The preset's first byte names the DSP.
struct script_t {
    std::function<bool(char name, audio_chunk& chunk, abort_callback& abort)> on_chunk;
    size_t tail_frames = 0; // a chunk of ones at the end of playback
    std::string
        log; // "a4096" a chunk of 4096 frames, "E" end of playback, "T" end of track, "F" flush, "+"/"-"
    uint32_t flags = 0;
};
script_t script;

class scripted_dsp : public dsp_impl_base_t<dsp_v3> {
public:
    using service_interface = dsp_v3;
    scripted_dsp(const dsp_preset& preset, uint32_t flags)
    {
        if (preset.get_data_size() == 0)
            throw exception_io_data();
        name_ = *static_cast<const char*>(preset.get_data());
        script.flags = flags;
        script.log += '+';
    }
    ~scripted_dsp() { script.log += '-'; }
    void flush() override { script.log += "F"; }
    double get_latency() const override { return latency_; }
    bool need_track_change_mark() const override { return true; }
    bool apply_preset(const dsp_preset&) override { return false; }

    static void g_get_name(string_out& out) { set_text(out, "scripted"); }
    static bool g_get_default_preset(dsp_preset&) { return false; }
    static guid_t g_get_guid() noexcept { return vstPresetOwner; }
    static void g_get_display_name(const dsp_preset&, string_out&) {}
    static bool g_show_config_popup(dsp_preset&, void*) { return false; }
    static void g_show_config_popup_v2(const dsp_preset&, void*, dsp_preset_edit_callback&) {}
    static void g_show_config_popup_v3(service_ptr_t<service_base>&, void*, dsp_preset_edit_callback_v2&) {}

protected:
    void on_end_of_track(abort_callback&) override { script.log += "T"; }
    void on_end_of_playback(abort_callback&) override
    {
        script.log += "E";
        if (script.tail_frames && name_ == 'a') {
            audio_chunk& tail = insert_chunk(0);
            tail.set_data_size(script.tail_frames);
            std::fill_n(tail.get_data(), script.tail_frames, 1.0);
            tail.set_sample_rate(8000);
            tail.set_channels(1, 4);
            tail.set_sample_count(script.tail_frames);
        }
        latency_ = 0;
    }
    bool on_chunk(audio_chunk& chunk, abort_callback& abort) override
    {
        script.log += name_ + std::to_string(chunk.get_sample_count());
        latency_ = 0.25;
        return !script.on_chunk || script.on_chunk(name_, chunk, abort);
    }

private:
    char name_ = 0;
    double latency_ = 0;
};

class fixture {
public:
    fixture()
        : host(console_log::sink_t(), service_new<json_config_store>(folder.path("config.json")))
    {
        script = {};
        host.add_service(dsp_entry::class_guid, service_new<dsp_entry_v4_impl_t<scripted_dsp>>());
        host.start();
        folder.write("a", {'a'});
        folder.write("b", {'b'});
        folder.write("empty", {});
        options.output = folder.path("out.wav");
    }
    // A mono file at 8 kHz whose sample i is (first + i) steps of 16 bits.
    void add_input(const std::string& name, size_t frames, int first = 0, uint32_t rate = 8000)
    {
        std::vector<double> samples(frames);
        for (size_t i = 0; i < frames; ++i)
            samples[i] = (first + static_cast<int>(i)) / 32768.0;
        wav_writer writer(folder.path(name));
        writer.begin({sample_type::int16, rate, 1, 4});
        writer.write(samples.data(), frames);
        writer.finish();
        options.inputs.push_back(folder.path(name));
    }
    void add_dsp(const std::string& preset) { options.chain.push_back({{}, folder.path(preset)}); }
    render_report run() { return render(options, abort, {}); }
    std::vector<double> samples_of(const std::string& name) const
    {
        wav_reader reader(folder.path(name));
        std::vector<double> samples(static_cast<size_t>(reader.frame_count()) * reader.format().channels);
        reader.read(samples.data(), static_cast<size_t>(reader.frame_count()));
        for (double& sample : samples)
            sample *= 32768;
        return samples;
    }
    // Names in the folder that begin with "out".
    size_t output_count() const
    {
        struct : folder_listing {
            void on_entry(bool, const char* name, const char*) override
            {
                count += std::string_view(name).starts_with("out");
            }
            size_t count = 0;
        } listing;
        filesystem_for_path(folder.path().c_str())
            ->list_folder(folder.path().c_str(), listing, abort_callback_never());
        return listing.count;
    }

    temp_folder folder;
    player_host host;
    render_options options;
    abort_callback_impl abort;
};

} // namespace

TEST_CASE("render: chunks go through all DSPs in order, the end comes last, the length stays")
{
    fixture test;
    test.add_input("in.wav", 1000);
    test.add_dsp("a");
    test.add_dsp("b");
    test.options.frames = 400;
    test.options.realtime = true;
    script.on_chunk = [](char name, audio_chunk& chunk, abort_callback&) {
        for (size_t i = 0; i < chunk.get_used_size(); ++i)
            chunk.get_data()[i] = name == 'a' ? chunk.get_data()[i] + 1 / 32768.0 : chunk.get_data()[i] * 2;
        return true;
    };
    const render_report report = test.run();
    CHECK(script.log == "++a400b400a400b400a200b200EE--");
    CHECK(script.flags == dsp_flag_realtime);
    CHECK(report.input_frames == 1000);
    CHECK(report.outputs.at(0).frames == 1000);
    CHECK(report.latency_seconds == 0.5); // of the last chunk, before the end cleared it
    CHECK(report.tail_frames == 0);
    const auto samples = test.samples_of("out.wav");
    REQUIRE(samples.size() == 1000);
    for (size_t i = 0; i < samples.size(); ++i)
        REQUIRE(samples[i] == 2.0 * static_cast<double>(i + 1));
}

TEST_CASE("render: a format that changes on the way starts another file")
{
    fixture test;
    test.add_input("in.wav", 40);
    test.add_input("fast.wav", 10, 0, 16000);
    test.add_dsp("a");
    test.options.frames = 10;
    int number = 0;
    script.on_chunk = [&](char, audio_chunk& chunk, abort_callback&) {
        ++number;
        if (number == 2 || number == 3) {
            chunk.set_data_size(20);
            chunk.set_channels(2, 3);
        } else if (number == 4) {
            chunk.set_channels(1, 8); // only the mask differs from the first file's
        }
        return true;
    };
    const render_report report = test.run();
    REQUIRE(report.outputs.size() == 4);
    CHECK(report.outputs[1].path == test.folder.path("out-2.wav"));
    CHECK(report.outputs[1].format == wav_format{sample_type::int16, 8000, 2, 3});
    CHECK(report.outputs[1].frames == 20);
    CHECK(report.outputs[2].format == wav_format{sample_type::int16, 8000, 1, 8});
    CHECK(report.outputs[3].path == test.folder.path("out-4.wav"));
    CHECK(report.outputs[3].format == wav_format{sample_type::int16, 16000, 1, 4});
    CHECK(wav_reader(test.folder.path("out-2.wav")).frame_count() == 20);
    CHECK(wav_reader(test.folder.path("out-4.wav")).format().rate == 16000);
}

TEST_CASE("render: a failure leaves no output and no instance, whenever it comes")
{
    fixture test;
    test.add_input("in.wav", 100);
    test.add_dsp("a");
    test.add_dsp("b");
    test.options.frames = 10;
    int left = 5;
    script.on_chunk = [&](char name, audio_chunk& chunk, abort_callback&) -> bool {
        if (name == 'b' && --left == 0)
            throw std::runtime_error("VST error");
        chunk.set_channels(1, left == 3 ? 8 : 4); // a second output is open by then
        return true;
    };
    CHECK_THROWS_WITH_AS(test.run(), doctest::Contains("\\b: VST error; see the console lines above"),
                         player_error);
    CHECK(test.output_count() == 0);
    CHECK(script.log.ends_with("--"));

    script = {};
    test.add_dsp("empty");
    CHECK_THROWS_WITH_AS(test.run(), doctest::Contains("\\empty: Unsupported format or corrupted file"),
                         player_error);
    CHECK(script.log == "++--");
    CHECK(test.output_count() == 0);

    // Refused before any instance is made, and what was there stays.
    script = {};
    test.folder.write("out.wav", {1});
    test.add_dsp("missing");
    CHECK_THROWS_WITH_AS(test.run(), doctest::Contains("\\missing: there is no such preset file"),
                         player_error);
    CHECK(script.log.empty());
    test.options.chain.clear();
    test.options.output = test.folder.path(".\\IN.wav");
    CHECK_THROWS_WITH_AS(test.run(), doctest::Contains("is also read by this run"), player_error);
    CHECK(test.samples_of("in.wav").size() == 100);
}

TEST_CASE("settings: lists and switches in the store, all or nothing, and the tail for one run only")
{
    const temp_folder folder;
    const service_ptr_t<config_store> store = service_new<json_config_store>(folder.path("config.json"));
    component_settings now = read_settings(*store);
    CHECK_FALSE(now.dpi_aware);
    CHECK(now.feed_live);
    CHECK_FALSE(now.process_tail);
    CHECK(now.folders.empty());
    CHECK(now.disabled_folders.empty());
    change_setting(*store, "feed-live=OFF");
    change_setting(*store, "folders=C:\\A;;C:\\B=1;");
    CHECK_FALSE(store->get_bool("advconfig.unnamed.E2F1D325-3AC2-4570-BB04-922DB30D9279", true));
    string_out_impl text;
    store->get_string("cfg_var.FF3708BD-5259-4C4F-9AB8-5F9FDD119409", "", text);
    CHECK(text.text == "C:\\A\nC:\\B=1");
    now = read_settings(*store);
    CHECK(now.folders == std::vector<std::string>{"C:\\A", "C:\\B=1"});
    change_setting(*store, "folders=");
    CHECK(read_settings(*store).folders.empty());
    for (const char* wrong : {"dpi=on", "dpi-aware=perhaps", "dpi-aware=", "=on", "folders=a\nb"})
        CHECK_THROWS_AS(change_setting(*store, wrong), usage_error);

    const auto tail = with_tail_on(store);
    CHECK(read_settings(*tail).process_tail);
    CHECK_FALSE(read_settings(*tail).feed_live);
    CHECK_FALSE(read_settings(*store).process_tail);
}
