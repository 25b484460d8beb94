// What the window is made of, without a window: what it keeps, its keys.

#include "player/window/session.h"
#include "player/window/shortcuts.h"

#include <doctest/doctest.h>

#include <cmath>

using namespace player;

namespace {

constexpr guid_t first_command{1, 2, 3, {4}},
    second_command{0xFFFFFFFF, 0xABCD, 0, {0, 1, 2, 3, 4, 5, 6, 0xEF}};

} // namespace

TEST_CASE("window parts: a stored chain comes back, a damaged one leaves nothing half done")
{
    live_chain chain;
    dsp_preset_impl preset;
    preset.set_owner(second_command);
    std::string bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    preset.set_data(bytes.data(), bytes.size());
    chain.add(preset);
    chain.add(dsp_preset_impl(), false);
    const std::string text = chain_to_text(*chain.get());
    live_chain back;
    REQUIRE(chain_from_text(text, back));
    REQUIRE(back.get()->size() == 2);
    CHECK((*back.get())[0]->preset == preset);
    CHECK((*back.get())[0]->enabled);
    CHECK_FALSE((*back.get())[1]->enabled);

    live_chain none;
    CHECK(chain_from_text("", none));
    const std::string good = R"({"owner":"00000001-0002-0003-0400-000000000000","on":true,"data":"00"})";
    const std::string id = R"([{"owner":"00000001-0002-0003-0400-000000000000",)";
    const std::vector<std::string> damaged = {"x",
                                              "{}",
                                              "[" + good + ",7]",
                                              "[" + good + R"(,{"owner":"00000001","on":true,"data":""}])",
                                              "[" + good + R"(,{"owner":1,"on":true,"data":""}])",
                                              id + R"("on":true,"data":"0"}])",
                                              id + R"("on":true,"data":"0g"}])",
                                              id + R"("data":""}])"};
    for (const std::string& bad : damaged) {
        CAPTURE(bad);
        CHECK_FALSE(chain_from_text(bad, none));
        CHECK(none.get()->empty());
    }
}

TEST_CASE("window parts: places on the screen, times, levels")
{
    const window_place place{-5, 10, 700, 500, true};
    CHECK(place_from_text(place_to_text(place)) == place);
    for (const char* bad : {"", "1,2,3", "a,b,c,d,e", "1,2,3,4,1x", "1,2,1000000000,4,0"})
        CHECK_FALSE(place_from_text(bad));
    const struct {
        window_place wanted, got;
    } places[] = {{{10, 10, 700, 500}, {10, 10, 700, 500}},
                  {{5000, -300, 700, 500}, {300, 0, 700, 500}}, // of a screen that is gone
                  {{0, 0, 9000, 1}, {0, 0, 1000, 150}}};
    for (const auto& [wanted, got] : places)
        CHECK(on_screen(wanted, 0, 0, 1000, 800) == got);

    const std::pair<double, const char*> times[] = {{0, "0:00"},           {59.99, "0:59"},   {61, "1:01"},
                                                    {3599, "59:59"},       {3605, "1:00:05"}, {-1, "0:00"},
                                                    {std::nan(""), "0:00"}};
    for (const auto& [seconds, text] : times)
        CHECK(time_text(seconds) == text);
    const std::pair<double, double> levels[] = {{0, 0}, {0.0001, 0}, {0.001, 0},       {0.0316227766, 0.5},
                                                {1, 1}, {8, 1},      {std::nan(""), 0}};
    for (const auto& [peak, share] : levels)
        CHECK(meter_share(peak) == doctest::Approx(share));
}

TEST_CASE("window parts: how shortcuts are spelled")
{
    const std::pair<key_press, const char*> keys[] = {{{true, false, false, 'A'}, "Ctrl+A"},
                                                      {{true, true, true, '7'}, "Ctrl+Alt+Shift+7"},
                                                      {{false, false, false, 0x70}, "F1"},
                                                      {{false, false, true, 0x87}, "Shift+F24"}};
    for (const auto& [press, text] : keys) {
        CHECK(key_text(press) == text);
        CHECK(parse_key(text) == press);
    }
    for (const key_press& typed : {key_press{false, false, false, 'A'}, key_press{false, false, true, '7'},
                                   key_press{true, false, false, 0}, key_press{true, false, false, 0x0D}})
        CHECK(key_text(typed).empty());
    for (const char* bad : {"", "A", "Ctrl+", "Strg+A", "F25", "Ctrl+a"})
        CHECK_FALSE(parse_key(bad));
    for (const guid_t& guid : {first_command, second_command})
        CHECK(parse_guid(guid_text(guid)) == guid);
    for (const char* bad : {"", "0000000100020003-0400-000000000000", "0000000g-0002-0003-0400-000000000000"})
        CHECK_FALSE(parse_guid(bad));
}
