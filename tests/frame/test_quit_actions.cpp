#include "frame/quit_actions.h"

#include "sdk/service.h"

#include <doctest/doctest.h>

#include <stdexcept>
#include <string>

TEST_CASE("quit actions run once, the last one first, whatever one of them throws")
{
    std::string log;
    const auto actions = service_new<quit_actions>();
    actions->on_quit();
    add_quit_action([&] { log += "a"; });
    add_quit_action([&] {
        log += "b";
        throw std::runtime_error("cannot stop");
    });
    add_quit_action([&] {
        log += "c";
        add_quit_action([&] { log += "d"; }); // too late for this time
    });
    actions->on_init();
    CHECK(log == "");
    actions->on_quit();
    CHECK(log == "cba");
    actions->on_quit();
    CHECK(log == "cbad");
    actions->on_quit();
    CHECK(log == "cbad");
}
