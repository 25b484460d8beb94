// What an instance and its worker say to each other, command by command.

#include "dsp_under_test.h"

#include "sdk/dsp_entry_impl.h"
#include "sdk/dsp_preset_impl.h"
#include "support/patched_import.h"
#include "support/test_host.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <thread>

namespace {

const audio stereo; // 64 bytes
const char* const first_chunk = "2:3 3:20 1:64";
const char* const after_flush = "5:0 2:3 3:20 1:64";

void tail_on(test_host& host)
{
    host.store().set_bool(tail_key, true);
}

template <class T>
std::string bytes_of(std::initializer_list<T> values)
{
    return {reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(T)};
}

bool has_argument(const std::vector<std::string>& arguments, const char* option, const char* value)
{
    const auto found = std::ranges::find(arguments, option);
    return found != arguments.end() && found + 1 != arguments.end() && found[1] == value;
}

// Of each thread: a relay reads as well.
thread_local int writes = 0, reads = 0;
decltype(&WriteFile) real_write = nullptr;
decltype(&ReadFile) real_read = nullptr;
BOOL WINAPI counting_write(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD done, LPOVERLAPPED overlapped)
{
    ++writes;
    return real_write(file, bytes, size, done, overlapped);
}
BOOL WINAPI counting_read(HANDLE file, LPVOID bytes, DWORD size, LPDWORD done, LPOVERLAPPED overlapped)
{
    ++reads;
    return real_read(file, bytes, size, done, overlapped);
}

} // namespace

TEST_CASE("the first chunk brings state and format, the next ones only themselves")
{
    const test_host host;
    fake_worker::use_for_launches();
    // It answers with another input mask than was offered, which changes nothing.
    dsp_under_test test("connect\nformat = = 0x30 = =\naudio 0.5 441\nserve");
    CHECK(test.fake.process_ids().empty());
    CHECK(test.dsp->get_latency() == 0.0);

    CHECK(test.run(stereo) == "");
    CHECK(test.said() == first_chunk);
    CHECK(test.last_command(2).payload == std::string("\xAB\xCD\0", 3));
    CHECK(test.last_command(3).payload == bytes_of<uint32_t>({44100, 2, 3, 2, 3}));
    CHECK(test.last_command(1).payload == bytes_of<double>({1, 2, 3, 4, 5, 6, 7, 8}));
    CHECK(test.heard() == "44100/2/0x3*4");
    CHECK(test.samples(0) == std::vector<double>{0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4});
    CHECK(test.dsp->get_latency() == 0.01);

    // Several chunks in one plain run, of other lengths; empty ones do not reach the worker.
    test.list.remove_all();
    fill_chunk(*test.list.add_item(), {.frames = 0});
    fill_chunk(*test.list.add_item(), {.frames = 1, .first = 10});
    fill_chunk(*test.list.add_item(), {.frames = 0});
    fill_chunk(*test.list.add_item(), {.frames = 100000, .first = 20});
    test.dsp->run(test.list, nullptr, dsp_flag_end_of_track);
    CHECK(test.said() == "1:16 1:1600000");
    CHECK(test.heard() == "44100/2/0x3*1 44100/2/0x3*100000");
    CHECK(test.samples(0) == std::vector<double>{5, 5.5});
    CHECK(test.samples(1).back() == (20 + 199999) * 0.5);
    CHECK_FALSE(test.dsp->need_track_change_mark());

    // Saving a call shows.
    test.list.remove_all();
    fill_chunk(*test.list.add_item(), {.frames = 4096});
    const patched_import write("WriteFile", reinterpret_cast<void*>(&counting_write));
    const patched_import read("ReadFile", reinterpret_cast<void*>(&counting_read));
    real_write = write.original<decltype(real_write)>();
    real_read = read.original<decltype(real_read)>();
    writes = reads = 0;
    test.dsp->run(test.list, nullptr, 0);
    CHECK(writes == 1);
    CHECK(reads >= 1);
    CHECK(reads <= 2);
    test.said();

    // More bytes than a command can announce: nothing is sent, and nothing read of a chunk that has not as
    // many.
    test.list.get_item(0)->set_sample_count(size_t{1} << 28);
    CHECK(failure_of([&] { test.dsp->run(test.list, nullptr, 0); }) == "runtime_error: VST error");
    CHECK(test.said() == "");
}

TEST_CASE("a seek brings reset, state and format before the next chunk, and takes the latency away")
{
    test_host host;
    tail_on(host); // counts for nothing here
    fake_worker::use_for_launches();
    dsp_under_test test("connect\naudio 1 0xFFFFFFFF\ntail 64 7\nserve");
    test.dsp->flush(); // before there is a worker: nothing to reset
    CHECK(test.run(stereo) == "");
    CHECK(test.said() == first_chunk);
    CHECK(test.dsp->get_latency() == 4294967295.0 / 44100);

    test.dsp->flush();
    CHECK(test.dsp->get_latency() == 0.0);
    CHECK(test.end_playback() == ""); // no stream, so no tail
    CHECK(test.said() == "");
    CHECK(test.run(stereo) == "");
    CHECK(test.said() == after_flush);
    CHECK(test.heard() == "44100/2/0x3*4");
    CHECK(test.fake.process_ids().size() == 1);
}

TEST_CASE("a change of the input format ends the stream and starts another on the same worker")
{
    test_host host;
    fake_worker::use_for_launches();
    const audio others[] = {{.rate = 48000},
                            {.rate = 48000, .channels = 1, .mask = 0x4},
                            {.rate = 48000, .channels = 1, .mask = 0}};

    SUBCASE("without tails: reset, state, format")
    {
        dsp_under_test test("connect\ntail 64 7\nserve");
        CHECK(test.run(stereo) == "");
        CHECK(test.said() == first_chunk);
        for (const audio& other : others) {
            CHECK(test.run(other) == "");
            CHECK(test.said() == (other.channels == 2 ? "5:0 2:3 3:20 1:64" : "5:0 2:3 3:20 1:32"));
            CHECK(test.heard() == (other.channels == 2 ? "48000/2/0x3*4" : "48000/1/0x4*4"));
            CHECK(test.samples(0).back() == (other.channels == 2 ? 8 : 4));
        }
        CHECK(test.last_command(3).payload == bytes_of<uint32_t>({48000, 1, 0, 1, 0}));
        CHECK(test.fake.process_ids().size() == 1);
    }
    SUBCASE("with tails: drain first; the tail goes in front, in the input's layout whatever the output's")
    {
        tail_on(host);
        dsp_under_test test("connect\ntail 4096 7\nserve",
                            [](vstConfig_t& config) { config.outputChannelMask = 0x3F; });
        CHECK(test.run(stereo) == "");
        CHECK(test.heard() == "44100/6/0x3F*4");
        test.said();
        test.list.remove_all();
        fill_chunk(*test.list.add_item(), stereo);
        fill_chunk(*test.list.add_item(), others[0]);
        fill_chunk(*test.list.add_item(), others[0]);
        test.dsp->run(test.list, nullptr, 0);
        CHECK(test.said() == "1:64 4:0 5:0 2:3 3:20 1:64 1:64");
        CHECK(test.heard() == "44100/6/0x3F*4 44100/2/0x3*256 48000/6/0x3F*4 48000/6/0x3F*4");
        CHECK(test.samples(1) == std::vector<double>(512, 7.0));
    }
    SUBCASE("with a tail of zero bytes: no reset; after a refusal the old format is agreed on again")
    {
        tail_on(host);
        dsp_under_test test("connect\ntail 0 0\non 3 1 format = 6 = = =\non 3 2 format = = = = =\nserve");
        CHECK(test.run(stereo) == "");
        CHECK(test.run(others[0]) ==
              "runtime_error: VST refused audio stream format - got: 2ch, VST wants: 6ch");
        CHECK(test.run(stereo) == "");
        CHECK(test.said() == "2:3 3:20 1:64 4:0 3:20 3:20 1:64");
    }
}

TEST_CASE("the end of playback hands out the tail that the setting asks for")
{
    test_host host;
    fake_worker::use_for_launches();
    struct row {
        bool setting;
        const char* tail;
        const char* said;
        const char* heard;
        const char* next; // what a chunk of the same format then needs
    };
    const row rows[] = {
        {false, "4096 7", "", "", after_flush},
        {true, "4096 7", "4:0", "44100/2/0x3*256", after_flush},
        {true, "4111 7", "4:0", "44100/2/0x3*256", after_flush},
        {true, "0 0", "4:0", "", "1:64"},
        {true, "7 0", "4:0", "44100/2/0x3*0", after_flush},
    };
    for (const row& each : rows) {
        CAPTURE(each.setting);
        CAPTURE(each.tail);
        host.store().set_bool(tail_key, each.setting);
        dsp_under_test test("connect\naudio 1 441\ntail " + std::string(each.tail) + "\nserve");
        CHECK(test.end_playback() == ""); // nothing begun: not even a worker
        CHECK(test.fake.process_ids().empty());
        CHECK(test.run(stereo) == "");
        CHECK(test.said() == first_chunk);
        CHECK(test.end_playback() == "");
        CHECK(test.said() == each.said);
        CHECK(test.heard() == each.heard);
        CHECK(test.samples(0) == std::vector<double>(test.samples(0).size(), 7.0));
        CHECK(test.dsp->get_latency() == (std::string(each.next) == "1:64" ? 0.01 : 0.0));
        CHECK(test.run(stereo) == "");
        CHECK(test.said() == each.next);
    }
    // In one run with the last chunk, and longer than one piece of reading: it comes behind everything.
    host.store().set_bool(tail_key, true);
    dsp_under_test test("connect\ntail 40000016 7\nserve");
    CHECK(test.run(stereo, dsp_flag_end_of_playback | dsp_flag_end_of_track) == "");
    CHECK(test.heard() == "44100/2/0x3*4 44100/2/0x3*2500001");
    const std::vector<double> tail = test.samples(1);
    CHECK(std::ranges::count(tail, 7.0) == 5000002);
}

TEST_CASE("a live update takes over another state of the same effect and nothing else")
{
    const test_host host;
    fake_worker::use_for_launches();
    dsp_under_test test("connect\nserve");
    vstConfig_t changed = test.config;
    changed.state = {1, 2, 3, 4};
    CHECK(test.apply(changed)); // before the first chunk
    CHECK(test.run(stereo) == "");
    CHECK(test.said() == "2:4 3:20 1:64");

    changed.state.assign(100000, 0x55);
    changed.outputChannelMask = 0x3F;
    changed.name = "another name";
    CHECK(test.apply(changed));
    CHECK(test.run(stereo) == "");
    CHECK(test.said() == "2:100000 1:64"); // no new format
    CHECK(test.last_command(2).payload == std::string(100000, 0x55));
    CHECK(test.heard() == "44100/2/0x3*4");
    CHECK(test.run({.rate = 48000}) == ""); // now the layout counts
    CHECK(test.said() == "5:0 2:100000 3:20 1:64");
    CHECK(test.heard() == "48000/6/0x3F*4");

    vstConfig_t other = changed;
    other.path += "x";
    CHECK_FALSE(test.apply(other));
    other.path = changed.path;
    std::ranges::transform(other.path, other.path.begin(), [](char c) { return c == 'f' ? 'F' : c; });
    CHECK_FALSE(test.apply(other)); // another case is another effect
    dsp_preset_impl preset = preset_of(changed);
    preset.set_owner({});
    CHECK_FALSE(test.dsp->apply_preset(preset));
    preset = preset_of(changed);
    preset.set_data(preset.get_data(), 30);
    CHECK(failure_of([&] { test.dsp->apply_preset(preset); }) ==
          "exception_io_data: Unsupported format or corrupted file");
    CHECK(test.run({.rate = 48000}) == "");
    CHECK(test.said() == "1:64"); // all of that changed nothing

    changed.state.clear();
    CHECK(test.apply(changed));
    CHECK(test.run({.rate = 48000}) == "");
    CHECK(test.said() == "2:0 1:64");
    CHECK(test.fake.process_ids().size() == 1);
}

TEST_CASE("both ways to make an instance: the owner, the worker's pace, the sample type")
{
    const test_host host;
    fake_worker::use_for_launches();
    const auto entry = service_new<dsp_entry_v4_impl_t<dsp_vst>>();
    const auto instance_for = [&](const fake_worker& fake, uint32_t effect_flags, int priority,
                                  bool with_flags, uint32_t flags) {
        service_ptr_t<dsp> made;
        std::thread([&] {
            SetThreadPriority(GetCurrentThread(), priority);
            vstConfig_t config = fake.effect();
            config.flags = effect_flags;
            const dsp_preset_impl preset = preset_of(config);
            with_flags ? entry->instantiate_v4(made, preset, flags) : entry->instantiate(made, preset);
        }).join();
        return made;
    };
    struct row {
        uint32_t effect_flags;
        int priority;
        bool with_flags;
        uint32_t flags;
        const char* pace;
        const char* float64;
    };
    const row rows[] = {
        {0, THREAD_PRIORITY_NORMAL, false, 0, "offline", "0"},
        {2, THREAD_PRIORITY_ABOVE_NORMAL, false, 0, "realtime", "1"},
        {0xFFFFFFFD, THREAD_PRIORITY_ABOVE_NORMAL, true, 0xFFFFFFFE, "offline", "0"},
        {3, THREAD_PRIORITY_BELOW_NORMAL, true, 3, "realtime", "1"},
    };
    for (const row& each : rows) {
        CAPTURE(each.pace);
        CAPTURE(each.with_flags);
        const fake_worker fake("connect\nserve");
        auto made = instance_for(fake, each.effect_flags, each.priority, each.with_flags, each.flags);
        REQUIRE(made);
        dsp_chunk_list_impl list;
        fill_chunk(*list.add_item(), stereo);
        made->run(list, nullptr, 0);
        CHECK(fake.arguments()[1] == "process");
        CHECK(has_argument(fake.arguments(), "--process", each.pace));
        CHECK(has_argument(fake.arguments(), "--float64", each.float64));
        made.release();
    }
}

TEST_CASE("without an effect audio passes unchanged, but not under an aborted token")
{
    const test_host host;
    dsp_preset_impl preset;
    dsp_vst::g_get_default_preset(preset);
    const auto dsp = service_new<dsp_vst>(preset, 0u);
    dsp_chunk_list_impl list, none;
    fill_chunk(*list.add_item(), {.rate = 1, .channels = 40, .mask = 0x3});
    dsp->run(list, nullptr, dsp_flag_end_of_playback);
    CHECK(list.get_count() == 1);
    CHECK(list.get_item(0)->get_sample_rate() == 1);
    CHECK(list.get_item(0)->get_data()[159] == 160);

    abort_callback_impl token;
    token.abort();
    const auto run = [&](dsp_chunk_list_impl& chunks, uint32_t flags) {
        return failure_of([&] { dsp->run_abortable(chunks, nullptr, flags, token); });
    };
    CHECK(run(list, 0) == "exception_aborted: User abort");
    CHECK(run(none, dsp_flag_end_of_playback) == "exception_aborted: User abort");
    CHECK(run(none, dsp_flag_end_of_track) == "");
}
