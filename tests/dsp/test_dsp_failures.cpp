// Workers in every condition that a player may meet them in, and what it is told.

#include "dsp_under_test.h"

#include "sdk/exceptions.h"
#include "support/system_counts.h"
#include "support/test_host.h"
#include "support/test_options.h"

#include <windows.h>

#include <doctest/doctest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

const audio stereo;
const audio other_rate = {.rate = 48000};
const std::string aborted = "exception_aborted: User abort";

// Outcomes joined by " | ", "ok" for a run that went well.
class story {
public:
    story& operator<<(const std::string& outcome)
    {
        text_ += (text_.empty() ? "" : " | ") + (outcome.empty() ? "ok" : outcome);
        return *this;
    }
    operator std::string() const { return text_; }

private:
    std::string text_;
};

// A chunk, and whether a failure left it as it was.
std::string run_once(dsp_under_test& test, const audio& input = stereo)
{
    const std::string failure = test.run(input);
    return failure.empty() || test.unchanged(0, input) ? failure : failure + " and a changed chunk";
}

std::string run_twice(dsp_under_test& test)
{
    const std::string first = run_once(test);
    return story() << first << run_once(test);
}

scenario twice(const std::string& name, const std::string& script, const std::string& failure)
{
    return {name, failure + " | " + failure, [script] {
                dsp_under_test test(script);
                return run_twice(test);
            }};
}

// A worker that was killed after it had processed a chunk.
struct killed_worker : dsp_under_test {
    explicit killed_worker(uint32_t exit_code)
        : dsp_under_test("connect\nserve")
    {
        if (const std::string failure = run(stereo); !failure.empty())
            throw std::runtime_error("first chunk: " + failure);
        kill_process(fake.process_ids().at(0), exit_code);
    }
};

double seconds_since(std::chrono::steady_clock::time_point began)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

// The wait of a second for the worker's end is ended by an abort too.
std::string cut_wait_for_end()
{
    dsp_under_test test("connect\non 1 1 close-pipe\n"
                        "on 1 1 signal-event {event:here}\nserve\nhang");
    std::chrono::steady_clock::time_point began;
    std::thread cutter([&] {
        test.fake.wait_for("here", 20);
        began = std::chrono::steady_clock::now();
        Sleep(300);
        test.token.abort();
    });
    const std::string outcome = run_once(test);
    cutter.join();
    const double seconds = seconds_since(began);
    return story() << outcome << (seconds < 0.95 ? "early" : "late");
}

// Ends inside a chunk are named by the exit code, each time again.
std::vector<scenario> ends_of_workers()
{
    const std::string terminated = "runtime_error: VST worker terminated: 0x";
    std::vector<scenario> scenarios = {
        twice("before it read the chunk", "connect\nserve 2\nexit 0xABCD", terminated + "ABCD"),
        twice("in the audio", "connect\non 1 1 short-reply 17\nserve\nexit 2", terminated + "2"),
        twice("in the latency", "connect\non 1 1 short-reply 67\nserve\nexit 2", terminated + "2"),
        {"between chunks", terminated + "2A | " + terminated + "2A",
         [] {
             killed_worker test(42);
             return run_twice(test);
         }},
    };
    for (const std::string code : {"0", "1", "103", "C0000005", "FFFFFFFF"})
        scenarios.push_back(twice(code, "connect\non 1 1 exit 0x" + code + "\nserve", terminated + code));
    return scenarios;
}

// A worker that lives without its pipe is a VST error after a second, in which it may still end.
std::vector<scenario> slow_ends()
{
    // On a busy machine a tenth of a second may get lost; a wrong limit misses every time.
    const auto slow_to_end = [](const char* milliseconds, const std::string& expected) {
        std::string outcome;
        for (int attempt = 0; attempt < 3 && outcome != expected; ++attempt) {
            dsp_under_test test(std::string("connect\non 1 1 close-pipe\nserve\nsleep ") + milliseconds +
                                "\nexit 7");
            outcome = run_once(test);
        }
        return outcome;
    };
    const std::string terminated = "runtime_error: VST worker terminated: 0x7";
    const std::string error = "runtime_error: VST error";
    return {
        {"0.9 s", terminated, [=] { return slow_to_end("900", terminated); }},
        {"1.1 s", error, [=] { return slow_to_end("1100", error); }},
        twice("for ever", "connect\non 1 1 close-pipe\nserve\nhang", error),
        {"aborted", aborted + " | early", [] { return cut_wait_for_end(); }},
    };
}

// Formats, state, reset, tail and start have texts of their own.
std::vector<scenario> failures_outside_of_chunks()
{
    const std::string invalid = "runtime_error: Invalid reply when setting audio format";
    const std::string broken = "runtime_error: Could not negotiate VST audio format";
    const std::string access = "Nv::file_access_error: file access error";
    const std::string wants = "runtime_error: VST refused audio stream format - got: ";
    // The worker is gone when `prepare` makes the next chunk begin with something else.
    const auto dead = [&](const char* before, void (*prepare)(dsp_under_test&)) {
        return scenario{before, access + " | " + access, [prepare] {
                            killed_worker test(1);
                            prepare(test);
                            return run_twice(test);
                        }};
    };
    std::vector<scenario> scenarios = {
        twice("ends inside the format", "connect\non 3 1 exit 1\nserve", broken),
        twice("a short format", "connect\non 3 1 short-reply 19\nserve\nhang", broken),
        dead("dead before the reset", [](dsp_under_test& test) { test.dsp->flush(); }), // it is still owed
        dead("dead before the state", [](dsp_under_test& test) { test.apply(test.config); }),
        {"dead before the tail", access + " | " + access + " | " + access,
         [] {
             killed_worker test(1);
             const std::string first = test.end_playback(), second = run_once(test, other_rate);
             return story() << first << second << test.end_playback();
         }},
        {"a short tail", "Nv::invalid_input: invalid input",
         [] {
             dsp_under_test test("connect\ntail 64 7\non 4 1 short-reply 60\nserve");
             test.run(stereo);
             return test.end_playback();
         }},
        // Nothing of the rest is taken for a later reply.
        {"an endless tail", "Nv::invalid_input: invalid input | " + access,
         [] {
             dsp_under_test test("connect\non 4 1 no-reply\non 4 1 reply-words 0xFFFFFFFF 64 3 2 1\nserve");
             test.run(stereo);
             const std::string first = test.end_playback();
             test.dsp->flush();
             return story() << first << run_once(test);
         }},
        {"never connects", "runtime_error: timeout | gone | ok | 2:3 3:20 1:64",
         [] {
             dsp_under_test test("wait-event {event:go}\nconnect\nserve");
             const std::string first = run_once(test);
             const bool gone = process_gone(test.fake.process_ids().at(0), 0);
             test.fake.signal("go");
             const std::string second = run_once(test); // starts another
             return story() << first << (gone ? "gone" : "still there") << second << test.said();
         }},
    };
    // Each chunk tries again.
    for (const auto& [reply, failure] : {std::pair{"0 = = = =", invalid},
                                         {"= 33 = = =", invalid},
                                         {"= = = 257 =", invalid},
                                         {"48000 = = = =", wants + "44100Hz 2ch, VST wants: 48000Hz 2ch"},
                                         {"= 1 0x4 1 0x4", wants + "2ch, VST wants: 1ch"},
                                         {"8000 6 0 6 0", wants + "44100Hz 2ch, VST wants: 8000Hz 6ch"}}) {
        const std::string script =
            std::string("connect\nformat ") + reply + "\non 3 2 format = = = = =\nserve";
        scenarios.push_back({reply, failure + " | " + failure + " | ok | 2:3 3:20 3:20 3:20 1:64", [script] {
                                 dsp_under_test test(script);
                                 const std::string refused = run_twice(test), third = run_once(test);
                                 return story() << refused << third << test.said();
                             }});
    }
    return scenarios;
}

// An abort ends every wait; a conversation that it cut gets another worker, any other goes on.
std::vector<scenario> aborts()
{
    enum action { first_chunk, second_chunk, other_format, end_of_playback };
    struct row {
        const char* wait;
        std::string script; // tells "here" when the wait has begun, and goes on at "go"
        action cut = first_chunk;
        size_t state_bytes = 3;
        size_t frames = 4;
    };
    const std::string pause = "signal-event {event:here}\n";
    const std::string until_go = "wait-event {event:go}\n";
    // Holds the answer to a command back, or what is left of it behind a first part.
    const auto at = [&](const std::string& command, const std::string& part = "",
                        const std::string& rest = "") {
        const std::string on = "on " + command + " ";
        return "connect\ntail 4096 7\n" + (part.empty() ? "" : on + "no-reply\n" + on + part + "\n") + on +
               pause + on + until_go + (rest.empty() ? "" : on + rest + "\n") + "serve";
    };
    const row rows[] = {
        {"for the connection", pause + until_go + "connect\nserve"},
        {"until the state is taken", "connect\nread 8\n" + pause + until_go + "read 1000000\nserve",
         first_chunk, 1000000},
        {"for the format", at("3 1")},
        {"for the rest of the format", at("3 1", "reply-words 44100 2", "reply-words 3 2 3")},
        {"until the chunk is taken",
         "connect\nserve 2\nread 8\n" + pause + until_go +
             "read 64\nreply-doubles 1 2 3 4 5 6 7 8\nreply-words 0\nserve",
         first_chunk, 3, 100000},
        {"for the audio", at("1 1")},
        {"for the audio, later", at("1 2"), second_chunk},
        {"for the latency", at("1 1", "reply-doubles 1 2 3 4 5 6 7 8", "reply-words 0")},
        {"for the length of a tail", at("4 1"), end_of_playback},
        {"for the tail", at("4 1", "reply-words 4096 1 2"), end_of_playback},
        {"for the tail before another format", at("4 1"), other_format},
        {"for the new format", at("3 2"), other_format},
    };
    std::vector<scenario> scenarios;
    for (const row& each : rows) {
        scenarios.push_back({each.wait, aborted + " | in time | gone | ok | another worker", [each] {
                                 dsp_under_test test(each.script, [&](vstConfig_t& config) {
                                     config.state.assign(each.state_bytes, 0x11);
                                 });
                                 if (each.cut != first_chunk)
                                     test.run(stereo);
                                 std::chrono::steady_clock::time_point cut_at;
                                 std::thread cutter([&] {
                                     test.fake.wait_for("here", 20);
                                     cut_at = std::chrono::steady_clock::now();
                                     test.token.abort();
                                 });
                                 const std::string outcome = each.cut == end_of_playback ? test.end_playback()
                                                             : each.cut == other_format
                                                                 ? test.run(other_rate)
                                                                 : run_once(test, {.frames = each.frames});
                                 cutter.join();
                                 const double seconds = seconds_since(cut_at);
                                 const bool gone = process_gone(test.fake.process_ids().at(0), 0);
                                 test.token.reset();
                                 test.fake.signal("go");
                                 test.dsp->flush();
                                 std::string next = test.run(stereo);
                                 if (next.empty() && !test.unchanged(test.list.get_count() - 1, stereo))
                                     next = "wrong audio";
                                 return story()
                                        << outcome << (seconds < 3 ? "in time" : std::to_string(seconds))
                                        << (gone ? "gone" : "still there") << next
                                        << (test.fake.process_ids().size() == 2 ? "another worker"
                                                                                : "the same worker");
                             }});
    }
    scenarios.push_back(
        {"before anything was said", aborted + " | " + aborted + " | 2:3 3:20 1:64 | ok | 1:64", [] {
             dsp_under_test test("connect\nserve");
             test.run(stereo);
             test.token.abort();
             const std::string first = run_once(test), second = test.end_playback();
             test.token.reset();
             const std::string said = test.said(), third = run_once(test);
             return story() << first << second << said << third << test.said();
         }});
    scenarios.push_back({"of a broken pipe", aborted, [] {
                             dsp_under_test test("connect\non 3 1 signal-event {event:here}\n"
                                                 "on 3 1 wait-event {event:go}\non 3 1 exit 1\nserve");
                             // The flag without the event: the pipe breaks first, and the token decides.
                             struct half_token final : abort_callback {
                                 bool is_aborting() const noexcept override { return flag; }
                                 void* get_abort_event() const noexcept override
                                 {
                                     return abort_callback_never().get_abort_event();
                                 }
                                 std::atomic<bool> flag{false};
                             } token;
                             std::thread breaker([&] {
                                 test.fake.wait_for("here", 20);
                                 token.flag = true;
                                 test.fake.signal("go");
                             });
                             fill_chunk(*test.list.add_item(), stereo);
                             const std::string outcome =
                                 failure_of([&] { test.dsp->run_abortable(test.list, nullptr, 0, token); });
                             breaker.join();
                             return outcome;
                         }});
    return scenarios;
}

} // namespace

TEST_CASE("what a player is told of workers that end, refuse, break or are aborted")
{
    test_host host;
    host.store().set_bool(tail_key, true);
    fake_worker::use_for_launches();
    // All at once: one of them waits for ten seconds anyway.
    std::vector<scenario> scenarios = ends_of_workers();
    for (auto* const more : {&slow_ends, &failures_outside_of_chunks, &aborts}) {
        for (scenario& each : more())
            scenarios.push_back(std::move(each));
    }
    check_side_by_side(scenarios);
}

TEST_CASE("tokens whose event is broken or comes alone")
{
    const test_host host;
    fake_worker::use_for_launches();
    struct odd_token final : abort_callback {
        explicit odd_token(HANDLE event)
            : event_(event)
        {
        }
        bool is_aborting() const noexcept override { return false; }
        void* get_abort_event() const noexcept override { return event_; }
        HANDLE event_;
    };
    const win::kernel_handle signalled(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    odd_token without_event(nullptr), event_alone(signalled.get());
    dsp_under_test test("connect\nserve");
    CHECK(test.run(stereo) == "");
    test.said();
    CHECK(failure_of([&] { test.dsp->run_abortable(test.list, nullptr, 0, without_event); }) ==
          "Nv::bug_check: bug check");
    CHECK(failure_of([&] { test.dsp->run_abortable(test.list, nullptr, 0, event_alone); }) ==
          "Nv::user_abort: user abort");
    // Not a byte was sent, so the conversation is as it was.
    CHECK(test.run(stereo) == "");
    CHECK(test.said() == "1:64");
}

TEST_CASE("however instances end, no handle, thread or process of theirs stays")
{
    test_host host;
    fake_worker::use_for_launches();
    const auto round = [&](const std::string& script, bool cut) {
        {
            dsp_under_test test(script);
            std::thread cutter([&] {
                if (cut && test.fake.wait_for("here", 20))
                    test.token.abort();
            });
            for (int chunk = 0; chunk < 2; ++chunk)
                test.run(stereo);
            cutter.join();
            test.end_playback();
        }
        CHECK(host.wait_until_detached_done());
    };
    const auto all_ends = [&] {
        round("connect\nserve", false);
        round("connect\non 1 2 exit 5\nserve", false);
        round("connect\nformat 0 = = = =\nserve", false);
        round("connect\non 1 2 signal-event {event:here}\non 1 2 hang\nserve", true);
        round("signal-event {event:here}\nhang", true);
    };
    all_ends();
    const size_t rounds = test_options::long_run() ? 200 : 4;
    const system_counts before = system_counts::now();
    for (size_t i = 0; i < rounds; ++i)
        all_ends();
    before.check_nothing_more(rounds - 1);
}
