// Visualisations with scripted workers: what they are sent, and how they end.

#include "vis/vis_instance.h"

#include "capture_double.h"
#include "support/fake_worker.h"
#include "worker/startWorker.h"

#include <doctest/doctest.h>

TEST_CASE("a format goes first and again when it changed; ten pieces wait for the worker")
{
    vis_fixture test;
    fake_worker fake(
        "signal-event {event:started}\nwait-event {event:go}\nconnect\non 1 * no-reply\n"
        "on 3 * no-reply\nserve 12\nsignal-event {event:early}\nserve 5\nsignal-event {event:heard}\n"
        "serve");
    new vis_instance(fake.effect());
    REQUIRE(fake.wait_for("started"));
    for (size_t i = 1; i <= 12; ++i) // two more than there is room for
        test.deliver(chunk_of(1, i, 2, 3, i <= 5 ? 44100 : 48000));
    fake.signal("go");
    CHECK(fake.wait_for("early"));
    test.deliver(chunk_of(1, 441, 2, 3, 48000));
    test.deliver(chunk_of(1, 441, 1, 4, 48000));
    test.deliver(chunk_of(1, 441, 1, 0, 48000));
    CHECK(fake.wait_for("heard"));
    std::string said;
    for (const auto& command : fake.commands())
        said += std::to_string(command.code) + ":" + std::to_string(command.byte_count) + " ";
    CHECK(said == "3:20 1:16 1:32 1:48 1:64 1:80 3:20 1:96 1:112 1:128 1:144 1:160 "
                  "1:7056 3:20 1:3528 3:20 1:3528 ");
    const uint32_t formats[][5] = {
        {44100, 2, 3, 2, 3}, {48000, 2, 3, 2, 3}, {48000, 1, 4, 1, 4}, {48000, 1, 0, 1, 0}};
    size_t next = 0;
    for (const auto& command : fake.commands()) {
        if (command.code == 3)
            CHECK(command.payload == std::string(reinterpret_cast<const char*>(formats[next++]), 20));
    }
    const std::vector<std::string> arguments = fake.arguments();
    REQUIRE(arguments.size() == 20);
    CHECK(arguments[1] == "configure-live");
    CHECK(std::vector(arguments.begin() + 6, arguments.begin() + 18) ==
          std::vector<std::string>{"--dpi-aware", "no", "--parent-window", "0", "--formattag", "3", "--bits",
                                   "64", "--window-title", "VST Visualization", "--process", "realtime"});
}

TEST_CASE("an instance that gets no worker or no token goes and says nothing of it")
{
    for (const bool has_worker : {false, true}) { // which then has no token
        CAPTURE(has_worker);
        fake_worker::use_for_launches();
        vis_fixture test;
        fake_worker fake("connect\nserve");
        if (!has_worker)
            Nv::setComponentPath("C:\\nowhere\\component.dll");
        test.player.host.hide_service(app_abort::class_guid, has_worker);
        new vis_instance(fake.effect());
        CHECK(test.gone());
        CHECK(test.player.host.console_lines().empty());
        CHECK(test.player.shell->shown.empty());
        test.player.host.hide_service(app_abort::class_guid, false);
    }
}

TEST_CASE("what cannot begin leaves nothing")
{
    vis_fixture test;
    test.player.host.refuse_detached(true);
    CHECK_THROWS_AS(new vis_instance({}), exception_win32);
    CHECK(test.capture->callbacks.empty());
    test.player.host.hide_service(playback_stream_capture::class_guid, true);
    CHECK_THROWS_AS(new vis_instance({}), exception_host_bug_check);
}
