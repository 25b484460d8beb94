#include "vsthost/command_line.h"

#include <doctest/doctest.h>

using namespace vsthost;

TEST_CASE("the component's command lines are understood as they are sent")
{
    const auto process = parse_command_line(
        {"process", "--vst", "C:\\A b\\E.vst3", "--vst-version", "3", "--formattag", "3", "--bits", "64",
         "--protocol", "chunked", "--float64", "1", "--process", "realtime", "--pipe", "\\\\.\\pipe\\0123"});
    REQUIRE(std::holds_alternative<options>(process));
    const auto& wanted = std::get<options>(process);
    CHECK(wanted.mode == run_mode::process);
    CHECK(wanted.vst_path == "C:\\A b\\E.vst3");
    CHECK(wanted.vst_version == 3);
    CHECK(wanted.float64);
    CHECK(wanted.realtime);
    CHECK(wanted.pipe_name == "\\\\.\\pipe\\0123");

    const auto configure =
        parse_command_line({"configure-live", "--vst", "a.dll", "--vst-version", "2", "--dpi-aware", "no",
                            "--parent-window", "1a2b", "--formattag", "3", "--bits", "64", "--window-title",
                            "VST Visualization", "--process", "realtime", "--pipe", "p"});
    REQUIRE(std::holds_alternative<options>(configure));
    CHECK(std::get<options>(configure).parent_window == 0x1A2B);
    CHECK(std::get<options>(configure).window_title == "VST Visualization");
    CHECK_FALSE(std::get<options>(configure).dpi_aware);
}

TEST_CASE("values that are none are refused with what would be one")
{
    for (const auto& [word, value] : {std::pair{"--vst-version", "4"},
                                      {"--bits", "32"},
                                      {"--float64", "yes"},
                                      {"--process", "fast"},
                                      {"--parent-window", "xyz"},
                                      {"--parent-window", "11112222333344445"},
                                      {"--vst", ""}}) {
        const std::string option = word;
        CAPTURE(option);
        const auto parsed = parse_command_line({"process", option, value});
        REQUIRE(std::holds_alternative<usage_error>(parsed));
        CHECK(std::get<usage_error>(parsed).text.find("option " + option + " takes") == 0);
    }
    CHECK(std::holds_alternative<usage_error>(parse_command_line({"process", "--vst"})));
}
